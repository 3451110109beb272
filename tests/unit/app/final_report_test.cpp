#include "app/final_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <vector>

#include "tests/support/expected_texts.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::kSummaryHeader;
using kavrel_test::lines_of;
using kavrel_test::TempDir;
using testing::ElementsAre;

const PlateFields kShinagawa = {"品川", "330", "あ", "12-34", "品川 330 あ 12-34"};
const std::string kShinagawaNumber = "品川 330 あ 12-34";

FrameResult frame_of(const std::string& group_id, const std::string& expected,
                     const PlateFields& fields = kShinagawa) {
  return {group_id + ".jpg", expected, group_id, fields, {}};
}

// Reports runs into a directory of its own and keeps what the last one printed.
class FinalReport : public testing::Test {
 protected:
  FinalReport() { args_.output_dir = dir_.path(); }

  int report(const std::vector<FrameResult>& frames, const StatusCounts& counts = {},
             bool use_plate_det = false) {
    const kavrel_test::Capture out(std::cout);
    const int exit_status = report_run({args_, use_plate_det, frames, counts});
    printed_ = out.text();
    return exit_status;
  }

  // The rows of summary.csv without the header.
  std::vector<std::string> rows() const {
    const std::string file = dir_.read("summary.csv");
    EXPECT_EQ(file.substr(0, kSummaryHeader.size()), kSummaryHeader);
    return lines_of(file.substr(kSummaryHeader.size()));
  }

  TempDir dir_;
  Args args_;
  std::string printed_;
};

TEST_F(FinalReport, WritesARowPerGroup) {
  report({frame_of("car1", kShinagawaNumber)});
  EXPECT_EQ(
      dir_.read("summary.csv"),
      kSummaryHeader + "car1,品川 330 あ 12-34,品川 330 あ 12-34,correct,品川,330,あ,12-34,1\n");
}

TEST_F(FinalReport, OrdersGroupsByTheBytesOfTheirNames) {
  report({frame_of("b", ""), frame_of("car2", ""), frame_of("a", ""), frame_of("B", ""),
          frame_of("car10", "")});
  const std::string rest = ",,品川 330 あ 12-34,unknown,品川,330,あ,12-34,1";
  EXPECT_THAT(rows(),
              ElementsAre("B" + rest, "a" + rest, "b" + rest, "car10" + rest, "car2" + rest));
}

TEST_F(FinalReport, GathersTheFramesOfAGroupInCaseOrder) {
  report({frame_of("b", "first"), frame_of("a", "x"), frame_of("b", "second"),
          frame_of("b", "third")});
  EXPECT_THAT(rows(), ElementsAre("a,x,品川 330 あ 12-34,check,品川,330,あ,12-34,1",
                                  "b,first,品川 330 あ 12-34,check,品川,330,あ,12-34,3"));
}

TEST_F(FinalReport, JudgesTheVotedReadingByTheFirstFramesText) {
  const PlateFields wrong = {"品川", "330", "い", "12-34", "品川 330 い 12-34"};
  report({frame_of("car1", "品川330あ12-34", wrong), frame_of("car1", ""), frame_of("car1", "")});
  EXPECT_THAT(rows(),
              ElementsAre("car1,品川330あ12-34,品川 330 あ 12-34,correct,品川,330,あ,12-34,3"));
  EXPECT_EQ(lines_of(printed_)[3], "group_total=1 group_correct=1 group_check_or_failed=0");
}

TEST_F(FinalReport, LeavesAGroupUnknownWhoseFirstFrameHasNoText) {
  report({frame_of("car1", ""), frame_of("car1", kShinagawaNumber)});
  EXPECT_THAT(rows(), ElementsAre("car1,,品川 330 あ 12-34,unknown,品川,330,あ,12-34,2"));
}

TEST_F(FinalReport, QuotesEveryCellThatNeedsIt) {
  const PlateFields odd = {"r,", "c,", "k,", "s,", ""};
  report({frame_of("g,", "e,\"", odd)});
  EXPECT_EQ(dir_.read("summary.csv"), kSummaryHeader +
                                          "\"g,\",\"e,\"\"\",\"r, c, k, s,\",check,\"r,\",\"c,\","
                                          "\"k,\",\"s,\",1\n");
}

TEST_F(FinalReport, WritesTheTotalsAsJson) {
  args_.input_mode = "frame";
  const StatusCounts frame_counts{7, 8};
  report(
      {frame_of("a", kShinagawaNumber), frame_of("b", "x"), frame_of("c", ""), frame_of("c", "")},
      frame_counts, true);
  EXPECT_EQ(dir_.read("FINAL_RESULT.json"),
            "{\n"
            "  \"input_mode\": \"frame\",\n"
            "  \"use_plate_det\": true,\n"
            "  \"frame_total\": 4,\n"
            "  \"frame_correct\": 7,\n"
            "  \"frame_check_or_failed\": 8,\n"
            "  \"group_total\": 3,\n"
            "  \"group_correct\": 1,\n"
            "  \"group_check_or_failed\": 2,\n"
            "  \"frame_summary_csv\": \"" +
                dir_.path("frame_summary.csv") +
                "\",\n"
                "  \"summary_csv\": \"" +
                dir_.path("summary.csv") + "\"\n}\n");
}

TEST_F(FinalReport, PrintsTheTotals) {
  args_.input_mode = "auto";
  const StatusCounts frame_counts{7, 8};
  report(
      {frame_of("a", kShinagawaNumber), frame_of("b", "x"), frame_of("c", ""), frame_of("c", "")},
      frame_counts, true);
  EXPECT_EQ(printed_,
            "========== FINAL_RESULT ==========\n"
            "input_mode=auto use_plate_det=true\n"
            "frame_total=4 frame_correct=7 frame_check_or_failed=8\n"
            "group_total=3 group_correct=1 group_check_or_failed=2\n"
            "summary=" +
                dir_.path("summary.csv") + "\n");
}

TEST_F(FinalReport, HasZeroTotalsWithoutCases) {
  args_.fail_on_error = true;
  EXPECT_EQ(report({}), 0);
  EXPECT_EQ(dir_.read("summary.csv"), kSummaryHeader);
  EXPECT_EQ(printed_,
            "========== FINAL_RESULT ==========\n"
            "input_mode=roi use_plate_det=false\n"
            "frame_total=0 frame_correct=0 frame_check_or_failed=0\n"
            "group_total=0 group_correct=0 group_check_or_failed=0\n"
            "summary=" +
                dir_.path("summary.csv") + "\n");
  EXPECT_THAT(lines_of(dir_.read("FINAL_RESULT.json")),
              ElementsAre("{", "  \"input_mode\": \"roi\",", "  \"use_plate_det\": false,",
                          "  \"frame_total\": 0,", "  \"frame_correct\": 0,",
                          "  \"frame_check_or_failed\": 0,", "  \"group_total\": 0,",
                          "  \"group_correct\": 0,", "  \"group_check_or_failed\": 0,",
                          "  \"frame_summary_csv\": \"" + dir_.path("frame_summary.csv") + "\",",
                          "  \"summary_csv\": \"" + dir_.path("summary.csv") + "\"", "}"));
}

TEST_F(FinalReport, ShowsPathsAsTheyWereGivenEscapedInJson) {
  args_.output_dir = dir_.path() + "/./a\"b\\c//";
  dir_.write("a\"b\\c/marker", "");
  report({});
  EXPECT_EQ(lines_of(printed_).back(), "summary=" + dir_.path() + "/./a\"b\\c///summary.csv");
  const std::string json = dir_.read("a\"b\\c/FINAL_RESULT.json");
  const std::string escaped_dir = dir_.path() + "/./a\\\"b\\\\c//";
  EXPECT_NE(json.find("\"frame_summary_csv\": \"" + escaped_dir + "/frame_summary.csv\",\n"),
            std::string::npos);
  EXPECT_NE(json.find("\"summary_csv\": \"" + escaped_dir + "/summary.csv\"\n"), std::string::npos);
}

TEST_F(FinalReport, FailsOnlyIfAskedAndAGroupIsNotCorrect) {
  const FrameResult correct = frame_of("a", kShinagawaNumber);
  const FrameResult check = frame_of("b", "x");
  const FrameResult unknown = frame_of("c", "");
  EXPECT_EQ(report({correct, check, unknown}), 0);
  args_.fail_on_error = true;
  EXPECT_EQ(report({correct}), 0);
  EXPECT_EQ(report({correct, check}), 2);
  EXPECT_EQ(report({unknown}), 2);
}

TEST_F(FinalReport, DoesNotFailForFrames) {
  args_.fail_on_error = true;
  const StatusCounts all_wrong{0, 3};
  EXPECT_EQ(report({frame_of("a", kShinagawaNumber)}, all_wrong), 0);
}

TEST_F(FinalReport, ReplacesTheFilesOfAnEarlierRun) {
  for (const char* name : {"summary.csv", "FINAL_RESULT.json"}) {
    dir_.write(name, std::string(5000, 'x'));
  }
  report({});
  EXPECT_EQ(dir_.read("summary.csv"), kSummaryHeader);
  EXPECT_EQ(lines_of(dir_.read("FINAL_RESULT.json")).size(), 12U);
}

TEST_F(FinalReport, IsPrintedThoughNoFileCanBeWritten) {
  args_.output_dir = dir_.path("missing");
  args_.fail_on_error = true;
  EXPECT_EQ(report({frame_of("a", "x")}), 2);
  EXPECT_EQ(lines_of(printed_).size(), 5U);
  EXPECT_TRUE(dir_.names().empty());
}

}  // namespace
}  // namespace kavrel
