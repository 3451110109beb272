#include "report/assessment/gate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "report/base/unicode.h"
#include "tests/report/output_dir.h"
#include "tests/report/report_program.h"

namespace kavrel::report {
namespace {

using kavrel_test::frame_of;
using kavrel_test::FrameResult;
using kavrel_test::kWords;
using kavrel_test::OutputDir;
using kavrel_test::ProgramOutcome;
using kavrel_test::run_report;
using kavrel_test::small_run;
using testing::AllOf;
using testing::HasSubstr;

// Nine of ten groups are right, and cameras north and south have five each; the wrong one is south.
std::vector<FrameResult> ten_groups() {
  std::vector<FrameResult> frames;
  for (int i = 0; i < 10; ++i) {
    const std::string kana = i == 9 ? "い" : "あ";
    frames.push_back(frame_of("g" + std::to_string(i), "in/" + std::to_string(i) + ".jpg",
                              "品川 330 あ 12-34",
                              {{"gray_upper_row", "品川330"}, {"gray_lower_row", kana + "12-34"}}));
  }
  return frames;
}

std::string list_of_cameras() {
  std::string list = "image_path,expected,group_id,camera\n";
  for (int i = 0; i < 10; ++i) {
    list += "in/" + std::to_string(i) + ".jpg,品川 330 あ 12-34,g" + std::to_string(i) +
            (i < 5 ? ",north\n" : ",south\n");
  }
  return list;
}

class Gate : public testing::Test {
 protected:
  Gate() {
    dir_.write_finished(ten_groups());
    list_ = dir_.write("list.csv", list_of_cameras());
  }

  ProgramOutcome gate(const std::vector<std::string>& rules, const std::string& dir = "") const {
    std::vector<std::string> arguments = {"gate", dir.empty() ? dir_.path() : dir};
    arguments.insert(arguments.end(), rules.begin(), rules.end());
    return run_report(arguments);
  }

  OutputDir dir_;
  std::string list_;
};

TEST_F(Gate, HasALineForEachRuleAndEndsWithItsStatus) {
  const ProgramOutcome outcome =
      gate({"--min-groups", "90%", "--min-field", "kana=90%", "--max-cause", "no-plate=0%"});
  EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
  EXPECT_EQ(outcome.out, "holds  the run is whole and labelled: " + dir_.path() +
                             "\n"
                             "holds  groups without an expected text are at most 0: 0\n"
                             "holds  groups correct at least 90.0 %: 9 of 10, 90.0 % (59.6 to "
                             "98.2)\n"
                             "holds  kana of groups correct at least 90.0 %: 9 of 10, 90.0 % (59.6 "
                             "to 98.2)\n"
                             "holds  frames with cause no-plate at most 0.0 %: 0 of 10, 0.0 % (0.0 "
                             "to 27.8)\n"
                             "The run passes.\n");
  EXPECT_EQ(gate({"--min-groups", "91%"}).status, 3);
  EXPECT_EQ(gate({"--min-frames", "91%"}).status, 3);
  EXPECT_EQ(gate({"--min-field", "kana=91%", "--min-field", "region=100%"}).status, 3);
  EXPECT_EQ(gate({"--max-cause", "not-read=9%"}).status, 3);
  EXPECT_EQ(gate({"--max-cause", "not-read=10%"}).status, 0);
}

TEST_F(Gate, CanAskForTheWorseEndOfTheInterval) {
  EXPECT_EQ(gate({"--lower-bound", "--min-groups", "59%"}).status, 0);
  EXPECT_EQ(gate({"--lower-bound", "--min-groups", "60%"}).status, 3);
  EXPECT_EQ(gate({"--lower-bound", "--max-cause", "no-plate=27%"}).status, 3);
  EXPECT_EQ(gate({"--lower-bound", "--max-cause", "no-plate=28%"}).status, 0);
}

TEST_F(Gate, LetsNoRunPassThatIsNotWhole) {
  EXPECT_EQ(gate({}).status, 0);
  const auto status_of = [&](const OutputDir& dir) { return gate({}, dir.path()).status; };
  OutputDir aborted;
  aborted.write_aborted(ten_groups());
  EXPECT_EQ(status_of(aborted), 3);
  OutputDir empty;
  empty.write_finished({});
  EXPECT_EQ(status_of(empty), 3);
  OutputDir unlabelled;
  unlabelled.write_finished({small_run()[6]});
  EXPECT_EQ(status_of(unlabelled), 3);
  OutputDir mixed;
  mixed.write_finished(ten_groups());
  mixed.write_pictures("an_older_case");
  EXPECT_EQ(status_of(mixed), 3);
  OutputDir cut;
  cut.write_finished(ten_groups());
  cut.write("frame_summary.csv", cut.read("frame_summary.csv") + "g9,in/10.jpg");
  EXPECT_EQ(status_of(cut), 3);
  EXPECT_EQ(gate({"--base", aborted.path()}).status, 3);
}

TEST_F(Gate, LetsGroupsWithoutAnExpectedTextPassOnlyWhereToldSo) {
  OutputDir partly;
  partly.write_finished(small_run());
  const ProgramOutcome outcome = gate({}, partly.path());
  EXPECT_EQ(outcome.status, 3);
  EXPECT_THAT(outcome.out, HasSubstr("fails  groups without an expected text are at most 0: 1\n"));
  EXPECT_EQ(gate({"--max-unlabelled", "1"}, partly.path()).status, 0);
}

TEST_F(Gate, TakesThePlacesOfPlates) {
  const auto truth_of = [&](const std::string& picture) {
    return dir_.write("truth.json", R"([{"image_path": ")" + picture + R"(", "box": [0, 0, 9, 9],
                      "corners": [[0, 0], [9, 0], [9, 9], [0, 9]]}])");
  };
  EXPECT_EQ(gate({"--truth", truth_of("in/3.jpg")}).status, 0);
  EXPECT_THAT(gate({"--truth", truth_of("of/another_set.jpg")}).err,
              HasSubstr("none of the run's pictures has a place in "));
  EXPECT_EQ(gate({"--truth", dir_.path("none.json")}).status, 1);
}

TEST_F(Gate, HoldsARunAgainstABase) {
  std::vector<FrameResult> frames = ten_groups();
  frames[0] = frame_of("g0", "in/0.jpg", "品川 330 あ 12-34", {});
  OutputDir worse;
  worse.write_finished(frames);
  EXPECT_EQ(gate({"--base", dir_.path()}, worse.path()).status, 3);
  EXPECT_EQ(gate({"--base", dir_.path(), "--max-broken", "1"}, worse.path()).status, 0);
  EXPECT_EQ(gate({"--base", worse.path()}).status, 0);
}

TEST_F(Gate, HoldsARunAgainstNoBaseOfAnotherList) {
  std::vector<FrameResult> frames = ten_groups();
  for (FrameResult& frame : frames) frame.expected = "横浜 500 さ 56-78";
  OutputDir other;
  other.write_finished(frames);
  const ProgramOutcome outcome = gate({"--base", other.path(), "--max-broken", "10"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_THAT(outcome.out, HasSubstr("in the base run: 0 of 10 groups\n"));
}

TEST_F(Gate, JudgesByAColumnOfTheList) {
  EXPECT_EQ(gate({"--list", list_, "--min-slice", "camera=80%"}).status, 0);
  EXPECT_EQ(gate({"--list", list_, "--min-slice", "camera=81%"}).status, 3);
  EXPECT_EQ(gate({"--list", list_, "--min-slice", "camera:north=100%"}).status, 0);
  EXPECT_EQ(gate({"--list", list_, "--min-slice", "camera:south=81%"}).status, 3);
}

TEST_F(Gate, HoldsTheRunAgainstTheListThatIsNamed) {
  const auto status_with = [&](const std::string& list) {
    return gate({"--list", dir_.write("other.csv", list)}).status;
  };
  const std::string list = list_of_cameras();
  EXPECT_EQ(status_with(list), 0);
  EXPECT_EQ(status_with(list + "in/10.jpg,品川 330 あ 12-34,g10,south\n"), 3);
  EXPECT_EQ(status_with(list.substr(0, list.rfind("in/9.jpg"))), 3);
  std::string relabelled = list;
  EXPECT_EQ(status_with(relabelled.replace(list.find("34,g0"), 2, "35")), 3);
}

TEST_F(Gate, FindsTheListByTheLog) {
  dir_.write("kavrel.log", "[RUN] started=x\n[RUN] command=kavrel --input-list " + list_ +
                               "\n[INFO] cases=10\n[RUN] status=0 seconds=3\n");
  EXPECT_EQ(gate({"--min-slice", "camera=80%"}).status, 0);
}

TEST_F(Gate, WritesMarkdownAndJson) {
  gate({"--list", list_, "--min-groups", "95%", "--markdown", dir_.path("gate.md"), "--json",
        dir_.path("gate.json")});
  EXPECT_THAT(
      dir_.read("gate.md"),
      AllOf(HasSubstr("### kavrel: The run does not pass.\n"),
            HasSubstr("| ❌ fails | groups correct at least 95.0 % | 9 of 10, 90.0 % (59.6 to"),
            HasSubstr("| south | 4 of 5, 80.0 % (37.6 to 96.4) |"),
            HasSubstr("There is no kavrel.log")));
  const auto json = nlohmann::json::parse(dir_.read("gate.json"));
  EXPECT_EQ(json["passes"], false);
  EXPECT_EQ(json["rules"][2]["holds"], false);
  EXPECT_EQ(json["slices"][1]["value"], "south");
  EXPECT_EQ(json["slices"][1]["groups"]["correct"], 4);
}

// What a run wrote must not become markup of a merge request.
TEST_F(Gate, EscapesMarkdown) {
  OutputDir dir;
  dir.write_finished(ten_groups());
  dir.write("kavrel.log", "[RUN] command=kavrel a|b<script>`x`\n[RUN] status=0\n");
  gate({"--markdown", dir.path("gate.md")}, dir.path());
  EXPECT_THAT(dir.read("gate.md"), HasSubstr("kavrel a\\|b\\<script\\>\\`x\\`"));
}

TEST_F(Gate, RefusesARuleThatItCannotJudge) {
  const auto failure = [&](const std::vector<std::string>& rules) {
    const ProgramOutcome outcome = gate(rules);
    EXPECT_EQ(outcome.status, 1);
    return outcome.err;
  };
  EXPECT_EQ(failure({"--min-groups", "95"}), "[ERROR] no share from 0% to 100%, such as 95%: 95\n");
  EXPECT_EQ(failure({"--min-groups", "101%"}),
            "[ERROR] no share from 0% to 100%, such as 95%: 101%\n");
  EXPECT_EQ(failure({"--min-groups", "nan%"}),
            "[ERROR] no share from 0% to 100%, such as 95%: nan%\n");
  EXPECT_EQ(failure({"--min-field", "95%"}), "[ERROR] no NAME=SHARE, such as kana=98%: 95%\n");
  EXPECT_EQ(failure({"--min-field", "kana="}), "[ERROR] no NAME=SHARE, such as kana=98%: kana=\n");
  EXPECT_EQ(failure({"--min-groups", ""}), "[ERROR] --min-groups: is empty\n");
  EXPECT_EQ(failure({"--base", ""}), "[ERROR] --base: is empty\n");
  EXPECT_EQ(failure({"--max-broken", "0"}), "[ERROR] --max-broken requires --base\n");
  EXPECT_THAT(failure({"--base", dir_.path() + "/."}),
              HasSubstr("both runs are the same directory"));
  EXPECT_EQ(failure({"--min-field", "colour=95%"}),
            "[ERROR] no field colour; there are region, class_no, kana, serial\n");
  EXPECT_THAT(failure({"--max-cause", "noplate=95%"}), HasSubstr("no cause noplate; there are "));
  EXPECT_EQ(failure({"--min-slice", "camera=95%"}),
            "[ERROR] no column camera of the list to slice by: The list of the run is unknown; "
            "name it with --list.\n");
  EXPECT_EQ(failure({"--list", list_, "--min-slice", "camera:west=95%"}),
            "[ERROR] no value camera:west in the list\n");
  EXPECT_EQ(failure({"--list", "/no/list", "--min-slice", "camera=95%"}),
            "[ERROR] failed to open input list: /no/list\n");
}

TEST_F(Gate, ShowsSlicesOnThePageAndInJson) {
  ASSERT_EQ(run_report({"html", dir_.path(), "--list", list_}).status, 0);
  EXPECT_THAT(dir_.read("report.html"), AllOf(HasSubstr("<caption><bdi>camera</bdi></caption>"),
                                              HasSubstr("<th scope=\"row\"><bdi>south")));
  const auto json = nlohmann::json::parse(run_report({"json", dir_.path(), "--list", list_}).out);
  EXPECT_EQ(json["slices"][0]["column"], "camera");
  EXPECT_EQ(json["slices"][0]["value"], "north");
}

TEST_F(Gate, ShowsTheTrendOfRuns) {
  OutputDir aborted;
  aborted.write_aborted(ten_groups());
  const std::string page = dir_.path("trend.html");
  ASSERT_EQ(run_report({"trend", dir_.path(), aborted.path(), "-o", page}).status, 0);
  EXPECT_THAT(dir_.read("trend.html"), AllOf(HasSubstr("Accuracy over 2 runs"), HasSubstr("90.0 %"),
                                             HasSubstr("(59.6 to 98.2)"), HasSubstr(">aborted<"),
                                             HasSubstr("unknown: a log is missing")));
  EXPECT_EQ(run_report({"trend", dir_.path()}).err, "[ERROR] --output is required\n");
  EXPECT_EQ(run_report({"trend", "-o", page}).status, 1);
}

}  // namespace
}  // namespace kavrel::report
