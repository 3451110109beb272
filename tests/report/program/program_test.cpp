// The built program from outside: exit statuses, messages and files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "tests/report/output_dir.h"
#include "tests/report/report_program.h"

namespace kavrel_test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

class ReportProgram : public testing::Test {
 protected:
  ReportProgram() { dir_.write_finished(small_run()); }

  static void expect_failure(const std::vector<std::string>& arguments,
                             const std::string& message) {
    const ProgramOutcome outcome = run_report(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "[ERROR] " + message + "\n");
  }

  OutputDir dir_;
};

TEST_F(ReportProgram, ExplainsItself) {
  EXPECT_THAT(
      run_report({"--help"}).out,
      AllOf(HasSubstr("html"), HasSubstr("gallery"), HasSubstr("misread"), HasSubstr("compare"),
            HasSubstr("junit"), HasSubstr("json"), HasSubstr("explain")));
  for (const char* command : {"check", "html", "gallery", "misread", "compare", "gate", "trend",
                              "junit", "json", "explain"}) {
    const ProgramOutcome outcome = run_report({command, "--help"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr(std::string("Example: kavrel-report ") + command));
  }
  EXPECT_EQ(run_report({"--version"}).out, KAVREL_VERSION "\n");
}

TEST_F(ReportProgram, RefusesAWrongCommandLine) {
  expect_failure({}, "no command; --help lists them");
  expect_failure({"htlm"}, "no command htlm; --help lists them");
  expect_failure({"htlm", "-o", "x"}, "no command htlm; --help lists them");
  expect_failure({"--htlm"}, "no option --htlm of kavrel-report; --help lists them");
  expect_failure({"html", "a", "--seperate", "b"},
                 "no option --seperate of html; --help lists them");
  expect_failure({"html", "a", "b", "c"}, "one argument too many: b");
  expect_failure({"html"}, "OUTPUT_DIR is required");
  expect_failure({"compare", dir_.path()}, "NEW_DIR is required");
  EXPECT_EQ(run_report({"html", dir_.path(), "--colour"}).status, 1);
  expect_failure({"compare", dir_.path(), dir_.path(), "--allow-broken", "-1"},
                 "--allow-broken: -1 is no count");
  expect_failure({"html", dir_.path(), "--max-frames", "many"}, "--max-frames: many is no count");
}

TEST_F(ReportProgram, NamesTheDirectoryThatIsNotThere) {
  for (const char* command : {"html", "gallery", "misread", "junit", "json"}) {
    expect_failure({command, "/no/dir"}, "there is no directory /no/dir");
  }
  expect_failure({"compare", dir_.path(), "/no/dir"}, "there is no directory /no/dir");
  expect_failure({"explain", "/no/dir", "b1"}, "there is no directory /no/dir");
}

TEST_F(ReportProgram, RefusesADirectoryThatIsNoOutput) {
  const OutputDir empty;
  expect_failure(
      {"html", empty.path()},
      "no output of kavrel: neither frame_summary.csv nor summary.csv in " + empty.path());
  empty.write("frame_summary.csv", "a,b\n");
  expect_failure({"json", empty.path()},
                 empty.path() + "/frame_summary.csv does not begin with kavrel's header");
}

TEST_F(ReportProgram, WritesThePageIntoTheOutputDirectory) {
  const ProgramOutcome outcome = run_report({"html", dir_.path()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out, "wrote " + dir_.path() + "/report.html\n");
  EXPECT_THAT(dir_.read("report.html"), StartsWith("<!DOCTYPE html>"));
  EXPECT_EQ(run_report({"junit", dir_.path()}).out, "wrote " + dir_.path() + "/junit.xml\n");
}

TEST_F(ReportProgram, ListsTheMisreadFramesWithTheirCauses) {
  dir_.write_pictures("a2");
  const ProgramOutcome outcome = run_report({"misread", dir_.path()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, StartsWith("group_id,image_path,expected,read,outcome,stage,cause,"
                                      "wrong_fields,case_dir,picture\n"
                                      "a,in/a2.jpg,品川 330 あ 12-34,品川 330 い 12-34,misread,"
                                      "text recogniser,not-read,kana," +
                                      dir_.path() + "/cases/a2,\n"));
  EXPECT_THAT(outcome.out, HasSubstr("b,in/b2.jpg,横浜 500 さ 56-78,横浜 500 き 56-78,misread,"
                                     "kana search,kana-search,kana,"));
  EXPECT_THAT(outcome.out, HasSubstr("c,in/c1.jpg,なにわ 480 う 90-12,,not read,text recogniser,"
                                     "not-read,region class_no kana serial,"));
  EXPECT_THAT(outcome.out, testing::Not(HasSubstr("in/a1.jpg")));
  dir_.write("cases/a2/ocr_variant_original_det_boxes.jpg", "");
  EXPECT_THAT(run_report({"misread", dir_.path()}).out,
              HasSubstr("/cases/a2/ocr_variant_original_det_boxes.jpg\n"));
}

TEST_F(ReportProgram, WritesAGalleryOfAllPlates) {
  EXPECT_EQ(run_report({"gallery", dir_.path()}).out, "wrote " + dir_.path() + "/gallery.html\n");
  const std::string page = dir_.read("gallery.html");
  EXPECT_THAT(page,
              AllOf(HasSubstr("2 of 8 frames correct"),
                    HasSubstr("<a href=\"cases/a1/\"><img src=\"cases/a1/rectified_plate.jpg\""),
                    HasSubstr("invented by the kana search")));
  run_report({"gallery", dir_.path(), "-o", dir_.path("a b/page.html")});
  EXPECT_FALSE(dir_.exists("a b/page.html"));
  std::filesystem::create_directory(dir_.path("a b"));
  run_report({"gallery", dir_.path(), "-o", dir_.path("a b/page.html")});
  EXPECT_THAT(dir_.read("a b/page.html"), HasSubstr("<a href=\"../cases/a1/\">"));
}

TEST_F(ReportProgram, RefusesAFileThatTellsNoPlaces) {
  for (const char* command : {"html", "gallery", "misread", "json"}) {
    expect_failure({command, dir_.path(), "--truth", "/none.json"}, "failed to read: /none.json");
  }
}

TEST_F(ReportProgram, WritesWhereItIsTold) {
  run_report({"html", dir_.path(), "-o", dir_.path("page.html")});
  EXPECT_TRUE(dir_.exists("page.html"));
  EXPECT_FALSE(dir_.exists("report.html"));
  EXPECT_THAT(run_report({"html", dir_.path(), "-o", "-"}).out, StartsWith("<!DOCTYPE html>"));
}

// The limit stands for a full disk; the program inherits it.
TEST_F(ReportProgram, LeavesNoHalfFileOnAFullDisk) {
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit full{4096, before.rlim_max};
  setrlimit(RLIMIT_FSIZE, &full);
  expect_failure({"html", dir_.path()}, "failed to write: " + dir_.path("report.html"));
  setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_FALSE(dir_.exists("report.html"));
}

TEST_F(ReportProgram, SaysThatItCannotWrite) {
  const std::string file = dir_.path("none/page.html");
  for (const char* command : {"html", "gallery", "misread", "junit", "json"}) {
    expect_failure({command, dir_.path(), "-o", file}, "failed to write: " + file);
  }
}

TEST_F(ReportProgram, ReportsAnAbortedRun) {
  const OutputDir aborted;
  aborted.write_aborted(small_run());
  EXPECT_EQ(run_report({"html", aborted.path()}).status, 0);
  EXPECT_THAT(without_texts(aborted.read("report.html")), HasSubstr("the run did not finish"));
}

// A disk that was full leaves the file without a byte.
TEST_F(ReportProgram, ReadsTheFramesBesideAnEmptySummary) {
  dir_.write("summary.csv", "");
  for (const char* command : {"html", "junit", "json"}) {
    EXPECT_EQ(run_report({command, dir_.path()}).status, 0) << command;
  }
  EXPECT_THAT(without_texts(dir_.read("report.html")),
              HasSubstr("summary.csv is empty: was the disk full?"));
}

TEST_F(ReportProgram, WritesAPageForServersThatBlockWhatIsEmbedded) {
  dir_.write_pictures("b1");
  const ProgramOutcome outcome =
      run_report({"html", dir_.path(), "-o", dir_.path("page.html"), "--separate-files"});
  EXPECT_EQ(outcome.status, 0);
  const std::string page = dir_.read("page.html");
  EXPECT_THAT(page, HasSubstr("<link rel=\"stylesheet\" href=\"page_files/style.css\">"));
  EXPECT_THAT(page, HasSubstr("<script src=\"page_files/script.js\"></script>"));
  EXPECT_THAT(page, HasSubstr("<img src=\"page_files/picture1.jpg\""));
  EXPECT_THAT(page, testing::Not(HasSubstr("<style>")));
  EXPECT_THAT(page, testing::Not(HasSubstr("data:image")));
  EXPECT_THAT(dir_.read("page_files/picture1.jpg"), StartsWith("\xFF\xD8"));
  EXPECT_THAT(dir_.read("page_files/style.css"), StartsWith(":root"));
  expect_failure({"html", dir_.path(), "-o", "-", "--separate-files"},
                 "--separate-files wants a file for the page");
}

TEST_F(ReportProgram, PrintsJson) {
  const ProgramOutcome outcome = run_report({"json", dir_.path()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.out, StartsWith("{\n  \"output_dir\": \"" + dir_.path() + "\""));
}

TEST_F(ReportProgram, ExplainsACase) {
  dir_.write("words.txt", "品川\n横浜\nなにわ\n福岡\n");
  const ProgramOutcome outcome =
      run_report({"explain", dir_.path(), "b1", "--dict-region", dir_.path("words.txt")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "Case b1, image in/b1.jpg, group b\n"
            "  expected  横浜 500 さ 56-78\n"
            "  read      横浜 500 き 56-78  (check)\n"
            "\n"
            "Votes of the 3 readings\n"
            "  gray_full: 横浜500さ56-78  ->  region 横浜 +2, class_no 500 +8, kana さ +2, serial "
            "56-78 +15, serial 500 +1\n"
            "  gray_upper_row: 横浜500  ->  region 横浜 +4, class_no 500 +8, serial 500 +1\n"
            "  gray_lower_row: き56-78  ->  kana き +3, serial 56-78 +9\n"
            "\n"
            "Totals, the first of each field is taken\n"
            "  region: 横浜 6\n"
            "  class_no: 500 16\n"
            "  kana: き 3, さ 2\n"
            "  serial: 56-78 24, 500 2\n");
}

TEST_F(ReportProgram, ExplainsByImagePathToo) {
  EXPECT_EQ(run_report({"explain", dir_.path(), "in/b1.jpg"}).out,
            run_report({"explain", dir_.path(), "b1"}).out);
}

TEST_F(ReportProgram, ExplainsWhatTheVoteDoesNotShow) {
  EXPECT_THAT(run_report({"explain", dir_.path(), "b2"}).out,
              HasSubstr("The kana き was found by the fallback search"));
  dir_.write("words.txt", "大宮\n");
  EXPECT_THAT(
      run_report({"explain", dir_.path(), "b1", "--dict-region", dir_.path("words.txt")}).out,
      HasSubstr("This vote gives \"500 き 56-78\", not what the run recorded"));
  OutputDir exchanged;
  exchanged.write_finished(
      {frame_of("x", "x.jpg", "", {{"gray_full", "品川123い456"}, {"gray_upper_row", "品川456"}})});
  EXPECT_THAT(run_report({"explain", exchanged.path(), "x"}).out,
              testing::AnyOf(HasSubstr("were exchanged"), HasSubstr("class_no: 456")));
}

TEST_F(ReportProgram, NamesTheCaseThatIsNotThere) {
  expect_failure({"explain", dir_.path(), "zz"}, "no case zz in " + dir_.path());
}

class CompareProgram : public ReportProgram {
 protected:
  CompareProgram() {
    std::vector<FrameResult> frames = small_run();
    frames[0] = frame_of("a", "in/a1.jpg", frames[0].expected, {});
    frames[2] = frame_of("a", "in/a3.jpg", frames[2].expected, {});
    worse_.write_finished(frames);  // group a is read as a2 alone
    shorter_.write_finished({frames.begin() + 3, frames.end()});
  }

  int status(const std::vector<std::string>& options, const OutputDir& fresh) const {
    std::vector<std::string> arguments = {"compare", dir_.path(), fresh.path()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return run_report(arguments).status;
  }

  OutputDir worse_;
  OutputDir shorter_;
};

TEST_F(CompareProgram, IsContentIfNothingIsLost) {
  OutputDir same;
  same.write_finished(small_run());
  EXPECT_EQ(status({}, same), 0);
  EXPECT_EQ(run_report({"compare", worse_.path(), dir_.path()}).status, 0);
}

TEST_F(CompareProgram, ExitsWithThreeIfAGroupIsBroken) {
  EXPECT_EQ(status({}, worse_), 3);
  EXPECT_EQ(status({"--allow-broken", "1"}, worse_), 0);
}

TEST_F(CompareProgram, ExitsWithThreeIfACorrectGroupIsGone) {
  EXPECT_EQ(status({}, shorter_), 3);
  EXPECT_EQ(status({"--allow-removed"}, shorter_), 0);
}

// Two runs that broke off at the same case agree in all that they read.
TEST_F(CompareProgram, ExitsWithThreeIfARunIsNotWhole) {
  OutputDir aborted;
  aborted.write_aborted(small_run());
  OutputDir alike;
  alike.write_aborted(small_run());
  for (const auto& [base, fresh] :
       {std::pair(&aborted, &alike), std::pair(&dir_, &aborted), std::pair(&aborted, &dir_)}) {
    const ProgramOutcome outcome =
        run_report({"compare", base->path(), fresh->path(), "--allow-removed"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.out, HasSubstr("No verdict: the "));
  }
}

TEST_F(CompareProgram, WritesAPageAndTheStatusStays) {
  EXPECT_EQ(status({"-o", dir_.path("diff.html")}, worse_), 3);
  EXPECT_THAT(without_texts(dir_.read("diff.html")),
              HasSubstr("Groups that were correct in the base run"));
}

}  // namespace
}  // namespace kavrel_test
