// Lists that the built program makes of folders.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/report/report_program.h"
#include "tests/support/test_support.h"

namespace kavrel_test {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::Not;

// A JPEG file's first segments, of which one tells when the picture was taken.
std::string taken_at(const std::string& time) {
  const auto bytes = [](std::initializer_list<int> values) {
    std::string text;
    for (const int value : values) text += static_cast<char>(value);
    return text;
  };
  // A table of one entry, which leads to a table of one entry, which is text behind it.
  const std::string tables = "MM" + bytes({0, 42, 0, 0, 0, 8}) +
                             bytes({0, 1, 0x87, 0x69, 0, 4, 0, 0, 0, 1, 0, 0, 0, 26, 0, 0, 0, 0}) +
                             bytes({0, 1, 0x90, 0x03, 0, 2, 0, 0, 0, 20, 0, 0, 0, 44, 0, 0, 0, 0}) +
                             time + bytes({0});
  const std::string body = "Exif" + bytes({0, 0}) + tables;
  return bytes({0xFF, 0xD8, 0xFF, 0xE1, 0, static_cast<int>(body.size()) + 2}) + body +
         bytes({0xFF, 0xD9});
}

class List : public testing::Test {
 protected:
  void write(const std::string& name, const std::string& bytes = "") const {
    fs::create_directories(fs::path(dir_.path(name)).parent_path());
    dir_.write(name, bytes);
  }

  // The list of the folders in the folder of the test.
  ProgramOutcome run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "list");
    arguments.insert(arguments.end(), {"-o", "list.csv"});
    return run_report(arguments, dir_.path());
  }

  std::string rows() const {
    const std::string text = dir_.read("list.csv");
    const std::string header = "image_path,expected,group_id\n";
    EXPECT_EQ(text.substr(0, header.size()), header);
    return text.substr(header.size());
  }

  TempDir dir_;
};

TEST_F(List, HasEveryPictureBelowTheFoldersInByteOrder) {
  for (const char* name : {"a/z.jpg", "a/b/2.PNG", "a/b/10.jpeg", "c/1.webp", "c/notes.txt",
                           "a/.hidden.jpg", "a/.thumbnails/1.jpg", "a/comma, here.jpg"}) {
    write(name);
  }
  const ProgramOutcome outcome = run({"c", "./a/", "a/b"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.err, HasSubstr("5 pictures of 5 groups\n"));
  EXPECT_EQ(rows(), "c/1.webp,,\na/b/10.jpeg,,\na/b/2.PNG,,\n\"a/comma, here.jpg\",,\na/z.jpg,,\n");
}

TEST_F(List, NamesFilesThatAreNoPicturesByTheirEnding) {
  for (const char* name : {"a/1.jpg", "a/2.HEIC", "b/3.dng", "b/.hidden"}) write(name);
  const ProgramOutcome outcome = run({"a", "b", "a"});
  EXPECT_EQ(rows(), "a/1.jpg,,\n");
  EXPECT_THAT(outcome.err, HasSubstr("2 names: left out, as the ending is none of .jpg .jpeg"));
  EXPECT_THAT(outcome.err, HasSubstr("]   a/2.HEIC\n[WARN]   b/3.dng\n1 picture"));
}

TEST_F(List, GroupsByFolder) {
  for (const char* name : {"a/1.jpg", "a/2.jpg", "a/b/3.jpg"}) write(name);
  EXPECT_EQ(run({"a", "--group-by", "directory"}).status, 0);
  EXPECT_EQ(rows(), "a/1.jpg,,a\na/2.jpg,,a\na/b/3.jpg,,a/b\n");
}

TEST_F(List, GroupsByNameAndNamesWhatDoesNotMatch) {
  for (const char* name : {"a/car1_f01.jpg", "a/car1_f02.jpg", "a/lorry.jpg"}) write(name);
  const ProgramOutcome outcome = run({"a", "--group-by", "name", "--pattern", "(.*)_f[0-9]+"});
  EXPECT_EQ(rows(), "a/car1_f01.jpg,,car1\na/car1_f02.jpg,,car1\na/lorry.jpg,,\n");
  EXPECT_THAT(outcome.err, HasSubstr("1 name: not matched"));
  EXPECT_THAT(outcome.err, HasSubstr("a/lorry.jpg\n"));
}

TEST_F(List, SaysWhatIsWrongWithAPattern) {
  write("a/1.jpg");
  for (const char* pattern : {"(", "car"}) {
    const ProgramOutcome outcome = run({"a", "--group-by", "name", "--pattern", pattern});
    EXPECT_EQ(outcome.status, 1) << pattern;
    EXPECT_THAT(outcome.err, HasSubstr("--pattern")) << pattern;
  }
  EXPECT_THAT(run({"a", "--group-by", "name"}).err, HasSubstr("as in --group-by name --pattern"));
}

TEST_F(List, MakesNoListThatAGroupingPlacesNothingIn) {
  write("a/car1.jpg", "no picture");
  EXPECT_THAT(run({"a", "--group-by", "name", "--pattern", "(.*)_f[0-9]+"}).err,
              HasSubstr("matches no file name, such as car1\n"));
  EXPECT_THAT(run({"a", "--group-by", "time"}).err, HasSubstr("group by directory or by name"));
  EXPECT_FALSE(fs::exists(dir_.path("list.csv")));
}

TEST_F(List, SaysWhatItsOptionsCanBe) {
  write("a/1.jpg");
  EXPECT_THAT(run({"a", "--group-by", "nmae"}).err, HasSubstr("{directory,name,time}"));
  EXPECT_THAT(run({"a", "--group-by", "time", "--seconds", "-1"}).err, HasSubstr("-1 is no count"));
  EXPECT_THAT(run({"a", "--seconds", "5"}).err, HasSubstr("--seconds requires --group-by"));
}

TEST_F(List, GroupsByTheTimeInThePictures) {
  write("a/1.jpg", taken_at("2024:05:01 12:00:00"));
  write("a/2.jpg", taken_at("2024:05:01 11:59:58"));
  write("a/3.jpg", taken_at("2024:05:01 12:00:01"));
  write("a/4.jpg", "no picture");
  write("b/5.jpg", taken_at("2024:05:01 12:00:00"));
  const ProgramOutcome outcome = run({"a", "b", "--group-by", "time"});
  EXPECT_EQ(rows(), "a/1.jpg,,2\na/2.jpg,,2\na/3.jpg,,3\na/4.jpg,,\nb/5.jpg,,5\n");
  EXPECT_THAT(outcome.err, HasSubstr("1 name: not known when"));
}

TEST_F(List, TakesLabelsFromNames) {
  for (const char* name :
       {"a/品川330あ1234_2.jpg", "a/x_なにわ_480_う_12-34.jpg", "a/横浜500さ567.jpg",
        "a/横浜500さ56.jpg", "a/品川330し1234.jpg", "a/x.jpg"}) {
    write(name);
  }
  const ProgramOutcome outcome = run({"a", "--expected-from", "name"});
  EXPECT_THAT(rows(), HasSubstr("a/品川330あ1234_2.jpg,品川 330 あ 12-34,\n"));
  EXPECT_THAT(rows(), HasSubstr("a/x_なにわ_480_う_12-34.jpg,なにわ 480 う 12-34,\n"));
  EXPECT_THAT(rows(), HasSubstr("a/横浜500さ567.jpg,横浜 500 さ 567,\n"));
  EXPECT_THAT(rows(), HasSubstr("a/横浜500さ56.jpg,,\n"));
  EXPECT_THAT(rows(), HasSubstr("a/品川330し1234.jpg,,\n"));
  EXPECT_THAT(outcome.err, HasSubstr("3 names: no plate in the name"));
}

TEST_F(List, NamesPicturesOfTheSameName) {
  for (const char* name : {"a/1.jpg", "b/1.png", "b/2.jpg"}) write(name);
  const ProgramOutcome outcome = run({"a", "b"});
  EXPECT_THAT(outcome.err, HasSubstr("1 name: the name of an earlier one"));
  EXPECT_THAT(outcome.err, HasSubstr("b/1.png and a/1.jpg\n"));
}

TEST_F(List, NamesGroupsThatLieInSeveralFolders) {
  for (const char* name : {"a/x_1.jpg", "b/x_2.jpg", "b/y_3.jpg"}) write(name);
  const ProgramOutcome outcome = run({"a", "b", "--group-by", "name", "--pattern", "(.*)_[0-9]+"});
  EXPECT_THAT(outcome.err, HasSubstr("1 name: a group with pictures in several folders"));
  EXPECT_THAT(outcome.err, HasSubstr("  x\n"));
}

TEST_F(List, LeavesOutNamesThatCannotStandInAList) {
  for (const char* name :
       {"a/1\".jpg", "a/ 2.jpg", "a/3\n.jpg", "a/ok.jpg", " b/4.jpg", "a/\x95\x9F.jpg"}) {
    write(name);
  }
  const ProgramOutcome outcome = run({"a", " b"});
  EXPECT_EQ(rows(), "a/ 2.jpg,,\na/ok.jpg,,\n");
  EXPECT_THAT(outcome.err, HasSubstr("4 names: left out"));
  EXPECT_THAT(outcome.err, HasSubstr("a/3␊.jpg\n"));
  fs::remove(dir_.path("list.csv"));
  EXPECT_THAT(run({" b"}).err, HasSubstr("[ERROR]  b/4.jpg is left out, as a list takes no name"));
}

TEST_F(List, OverwritesNoList) {
  write("a/1.jpg");
  write("list.csv", "a day's work");
  EXPECT_EQ(run({"a"}).status, 1);
  EXPECT_EQ(dir_.read("list.csv"), "a day's work");
}

TEST_F(List, EndsWhereAFolderIsMissingOrEmpty) {
  fs::create_directories(dir_.path("empty"));
  EXPECT_THAT(run({"missing"}).err, HasSubstr("cannot read the folder missing"));
  EXPECT_THAT(run({"empty"}).err, HasSubstr("there is no picture below the folders"));
  EXPECT_FALSE(fs::exists(dir_.path("list.csv")));
}

}  // namespace
}  // namespace kavrel_test
