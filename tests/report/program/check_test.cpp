// The mistakes that lists have, each in a file of lists/, and what the built program makes of it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>

#include "app/base/text.h"
#include "tests/report/report_program.h"
#include "tests/support/test_support.h"

namespace kavrel_test {
namespace {

namespace fs = std::filesystem;

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using Keys = std::vector<std::string>;

// A PNG file that ends behind the header of a picture of this size.
std::string png_header(unsigned width, unsigned height) {
  std::string bytes = "\x89PNG\r\n\x1A\n";
  bytes += std::string("\0\0\0\rIHDR", 8);
  for (const unsigned number : {width, height}) {
    for (const unsigned shift : {24U, 16U, 8U, 0U}) {
      bytes += static_cast<char>(number >> shift & 0xFFU);
    }
  }
  return bytes + std::string("\x08\2\0\0\0", 5);
}

// "error KEY" and "warning KEY" of each paragraph.
Keys keys_in(const std::string& verdict) {
  Keys keys;
  for (const std::string& line : lines_of(verdict)) {
    const std::size_t colon = line.find(": ");
    const bool is_key = line.rfind("error ", 0) == 0 || line.rfind("warning ", 0) == 0;
    if (is_key) keys.push_back(line.substr(0, colon));
  }
  return keys;
}

class Check : public testing::Test {
 protected:
  Check() {
    fs::copy(CHECK_LISTS, dir_.path(), fs::copy_options::recursive);
    fs::create_directories(dir_.path("pictures/other"));
    for (const char* name : {"a1.jpg", "a2.jpg", "b1.jpg", "b2.jpg", "other/b1.jpg"}) {
      cv::imwrite(dir_.path("pictures/") + name, cv::Mat(40, 80, CV_8UC3, cv::Scalar(9, 9, 9)));
    }
    for (const char* name : {"tiny.png", "tiny.bmp"}) {
      cv::imwrite(dir_.path("pictures/") + name, cv::Mat(7, 80, CV_8UC3, cv::Scalar(9, 9, 9)));
    }
    dir_.write("pictures/words.jpg", "no picture");
    dir_.write("pictures/huge.png", png_header(20000, 10000));
    dir_.write("pictures/too_large.png", png_header(50000, 40000));
  }

  // In the folder of the lists.
  ProgramOutcome check(const std::vector<std::string>& arguments) const {
    std::vector<std::string> words = {"check"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    return run_report(words, dir_.path());
  }

  TempDir dir_;
};

struct Mistaken {
  const char* file;
  Keys found;
  Keys left;  // when what can be mended is mended
};

const std::vector<Mistaken> kMistaken = {
    {"good.csv", {}, {}},
    {"byte_order_mark.csv", {"error byte-order-mark"}, {}},
    {"semicolons.csv", {"error separator"}, {}},
    {"tabs.csv", {"error separator"}, {}},
    {"shift_jis.csv", {"error encoding"}, {}},
    {"utf_16.csv", {"error encoding", "error separator"}, {}},
    {"lone_returns.csv", {"error line-ends"}, {}},
    {"wrong_header.csv", {"error header"}, {}},
    {"no_header.csv", {"warning no-header"}, {}},
    {"missing_picture.csv", {"error missing"}, {"error missing"}},
    {"unreadable_picture.csv", {"error unreadable"}, {"error unreadable"}},
    {"huge_picture.csv", {"warning huge"}, {"warning huge"}},
    {"too_large_picture.csv", {"error too-large"}, {"error too-large"}},
    {"same_name.csv", {"warning same-name"}, {"warning same-name"}},
    {"twice.csv", {"warning twice"}, {"warning twice"}},
    {"two_plates.csv", {"error two-plates"}, {"error two-plates"}},
    {"full_width.csv", {"error spelling"}, {}},
    {"two_spellings.csv", {"error spelling"}, {}},
    {"other_hyphen.csv", {"error spelling"}, {}},
    {"dots.csv", {"error spelling"}, {}},
    {"katakana.csv", {"error spelling"}, {}},
    {"half_width_katakana.csv", {"error spelling"}, {}},
    {"no_break_blank.csv", {"error spelling"}, {}},
    {"no_hyphen.csv", {"error spelling"}, {}},
    {"unknown_region.csv", {"warning region"}, {"warning region"}},
    {"out_of_reach.csv", {"warning out-of-reach"}, {"warning out-of-reach"}},
    {"no_plate.csv", {"warning no-plate-text"}, {"warning no-plate-text"}},
    {"first_unlabelled.csv", {"warning first-unlabelled"}, {"warning first-unlabelled"}},
    {"open_quote.csv", {"error open-quote", "warning out-of-reach"}, {"warning out-of-reach"}},
    {"backslashes.csv", {"error elsewhere"}, {}},
    {"comma_in_path.csv",
     {"warning too-many-cells", "error missing", "warning no-plate-text"},
     {"warning too-many-cells", "error missing", "warning no-plate-text"}},
};

int status_for(const Keys& keys) {
  for (const std::string& key : keys) {
    if (key.rfind("error", 0) == 0) return 1;
  }
  return keys.empty() ? 0 : 3;
}

TEST_F(Check, NamesEachMistakeAndEndsWithItsStatus) {
  for (const Mistaken& list : kMistaken) {
    const ProgramOutcome outcome = check({list.file});
    EXPECT_EQ(keys_in(outcome.out), list.found) << list.file << outcome.out;
    EXPECT_EQ(outcome.status, status_for(list.found)) << list.file;
    EXPECT_EQ(outcome.err, "") << list.file;
  }
}

TEST_F(Check, MendsWhatCanBeMended) {
  for (const Mistaken& list : kMistaken) {
    const ProgramOutcome outcome = check({list.file, "--fix", "-o", "new.csv"});
    EXPECT_EQ(keys_in(outcome.out), list.left) << list.file << outcome.out;
    EXPECT_EQ(outcome.status, status_for(list.left)) << list.file;
  }
}

TEST_F(Check, MendsEverySheetToTheSameList) {
  for (const char* file :
       {"good.csv", "byte_order_mark.csv", "semicolons.csv", "tabs.csv", "shift_jis.csv",
        "utf_16.csv", "lone_returns.csv", "no_header.csv", "backslashes.csv"}) {
    check({file, "--fix", "-o", "new.csv"});
    EXPECT_EQ(dir_.read("new.csv"), dir_.read("good.csv")) << file;
  }
}

TEST_F(Check, MendsLabelsToWhatKavrelWrites) {
  const auto mended = [&](const char* file) {
    check({file, "--fix", "-o", "new.csv"});
    return dir_.read("new.csv");
  };
  EXPECT_EQ(mended("full_width.csv"), dir_.read("good.csv"));
  EXPECT_EQ(mended("other_hyphen.csv"), dir_.read("good.csv"));
  EXPECT_THAT(mended("dots.csv"), AllOf(HasSubstr("品川 330 あ 123,"), HasSubstr("さ 56-78,")));
  EXPECT_THAT(mended("katakana.csv"), AllOf(HasSubstr(" あ "), HasSubstr("なにわ 500 さ ")));
  EXPECT_THAT(mended("no_hyphen.csv"), AllOf(HasSubstr("35-41"), HasSubstr("横浜 500 さ 56-78")));
}

TEST_F(Check, TellsEveryChange) {
  EXPECT_THAT(check({"wrong_header.csv", "--fix", "-o", "new.csv"}).out,
              HasSubstr("  line 1: Group became group_id\n"
                        "  line 1: File name became image_path\n"
                        "  line 1: Expected became expected\n"
                        "  line 1: image_path became the first column\n"
                        "4 changes\nwrote new.csv\n"));
  EXPECT_THAT(dir_.read("new.csv"), HasSubstr("image_path,group_id,expected,camera\n"
                                              "pictures/a1.jpg,a,品川 330 あ 12-34,north\n"));
  EXPECT_THAT(check({"no_hyphen.csv", "--fix", "-o", "new.csv"}).out,
              HasSubstr("  line 2: 品川 330 あ 3541 became 品川 330 あ 35-41\n"
                        "  line 3: 品川 330 あ 3541 became 品川 330 あ 35-41\n"
                        "  line 4: 横浜500さ5678 became 横浜 500 さ 56-78\n"
                        "3 changes\nwrote new.csv\n"));
  EXPECT_THAT(check({"good.csv", "--fix", "-o", "new.csv"}).out, HasSubstr("0 changes\n"));
}

TEST_F(Check, NamesLineAndText) {
  EXPECT_THAT(check({"no_hyphen.csv"}).out,
              HasSubstr("  line 2: 品川 330 あ 3541, which kavrel writes as 品川 330 あ 35-41\n"));
  EXPECT_THAT(check({"two_plates.csv"}).out,
              HasSubstr("  line 3: group a: 品川 330 あ 12-35, and 品川 330 あ 12-34 in line 2\n"));
  EXPECT_THAT(check({"missing_picture.csv"}).out,
              HasSubstr("  line 5: pictures/gone.jpg is not there\n"));
  EXPECT_THAT(check({"out_of_reach.csv"}).out, HasSubstr("  line 2: 品川 330 あ 7: serial 7\n"));
  EXPECT_THAT(check({"huge_picture.csv"}).out,
              HasSubstr("pictures/huge.png of 200 megapixels: up to 65555 MiB\n"));
}

TEST_F(Check, TakesPicturesOfFewPixels) {
  dir_.write("tiny.csv", "image_path,expected,group_id\npictures/tiny.png,品川 330 あ 12-34,a\n");
  EXPECT_EQ(check({"tiny.csv"}).out, "tiny.csv: 1 case of 1 group, 0 errors, 0 warnings\n");
  dir_.write("tiny.csv", "image_path,expected,group_id\npictures/tiny.bmp,品川 330 あ 12-34,a\n");
  EXPECT_EQ(check({"tiny.csv"}).out, "tiny.csv: 1 case of 1 group, 0 errors, 0 warnings\n");
}

TEST_F(Check, TellsWhereAMissingPictureLies) {
  const ProgramOutcome outcome = run_report({"check", dir_.path("good.csv")});
  EXPECT_THAT(outcome.out,
              HasSubstr("pictures/a1.jpg lies at " + dir_.path("pictures/a1.jpg") + "\n"));
  run_report({"check", dir_.path("good.csv"), "--fix", "-o", dir_.path("new.csv")});
  EXPECT_EQ(run_report({"check", dir_.path("new.csv")}).status, 0);
}

TEST_F(Check, ShowsAFewLinesOfManyMistakesAlike) {
  std::string list = "image_path,expected,group_id\n";
  for (int i = 0; i < 9; ++i) list += "pictures/gone" + std::to_string(i) + ".jpg,,\n";
  dir_.write("list.csv", list);
  EXPECT_THAT(check({"list.csv"}).out,
              AllOf(HasSubstr("gone4.jpg"), Not(HasSubstr("gone5.jpg")), HasSubstr("and 4 more")));
}

TEST_F(Check, TakesOtherRegionWords) {
  dir_.write("words.txt", "品河\n横浜\n");
  EXPECT_EQ(check({"unknown_region.csv", "--dict-region", "words.txt"}).status, 0);
}

TEST_F(Check, RefusesWhatItCannotDo) {
  const auto failure = [&](const std::vector<std::string>& arguments) {
    const ProgramOutcome outcome = check(arguments);
    EXPECT_EQ(outcome.status, 1);
    return outcome.err;
  };
  EXPECT_EQ(failure({"gone.csv"}), "[ERROR] failed to open binary: gone.csv\n");
  EXPECT_EQ(failure({"good.csv", "--fix"}), "[ERROR] --fix requires --output\n");
  EXPECT_EQ(failure({"good.csv", "--fix", "-o", "good.csv"}),
            "[ERROR] the list itself is not overwritten: good.csv\n");
  EXPECT_EQ(failure({"good.csv", "--fix", "-o", "gone/new.csv"}),
            "[ERROR] failed to write: gone/new.csv\n");
  dir_.write("bytes.csv", "image_path\n\xFF\xFF\xFF\n");
  EXPECT_EQ(failure({"bytes.csv", "--fix", "-o", "new.csv"}),
            "[ERROR] bytes.csv is neither UTF-8 nor Shift-JIS: save it as UTF-8\n");
}

}  // namespace
}  // namespace kavrel_test
