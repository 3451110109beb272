#include "report/text/json_report.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/report/json_schema.h"
#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

using kavrel_test::FrameResult;
using nlohmann::json;

json report_of(const std::vector<FrameResult>& frames) {
  const kavrel_test::OutputDir dir;
  dir.write_finished(frames);
  const RecordedRun run = read_run(dir.path());
  std::ostringstream out;
  write_json(run, assess(run, kavrel_test::kWords), {}, out);
  return json::parse(out.str());
}

std::string objections_to(const json& report) {
  return kavrel_test::objections(KAVREL_SOURCE_DIR "/docs/report.schema.json", report);
}

TEST(JsonReport, HoldsTheFiguresOfThePage) {
  const json report = report_of(kavrel_test::small_run());
  const json& groups = report.at("groups");
  EXPECT_EQ(groups.at("correct"), 1);
  EXPECT_EQ(groups.at("misread"), 2);
  EXPECT_EQ(groups.at("not_read"), 1);
  EXPECT_EQ(groups.at("unlabelled"), 1);
  EXPECT_EQ(groups.at("accuracy").at("value"), 0.25);
  EXPECT_NEAR(groups.at("accuracy").at("low"), 0.04559, 5e-6);
  EXPECT_NEAR(groups.at("accuracy").at("high"), 0.69936, 5e-6);
  EXPECT_EQ(groups.at("character_error_rate").at("micro"), 15.0 / 45);
  EXPECT_EQ(groups.at("character_error_rate").at("edits"), 15);
  EXPECT_EQ(groups.at("fields").at("kana").at("misread"), 1);
  EXPECT_EQ(report.at("frames").at("correct"), 2);
  EXPECT_EQ(report.at("causes").size(), kCauses.size());
  const json& not_read = report.at("causes").at(6);
  EXPECT_EQ(not_read.at("cause"), "not-read");
  EXPECT_EQ(not_read.at("frames"), 3);  // a2, c1 and e1
  EXPECT_EQ(not_read.at("groups"), 2);  // c and e
  EXPECT_EQ(report.at("field_causes").at("kana"),
            json::parse(R"({"not-read": 2, "other-row": 0, "outvoted": 1, "tie": 0,
                            "kana-search": 1, "untold": 0, "guessed": 1})"));
  EXPECT_EQ(report.at("places"), nullptr);
  EXPECT_EQ(report.at("kana_fallback"), json::parse(R"({"frames": 1, "correct": 0})"));
  EXPECT_EQ(report.at("confusions").at(0),
            json::parse(R"({"field":"kana","expected":"あ","read":"い","count":1,"of":3})"));
  EXPECT_EQ(report.at("confusions").at(2).at("read"), nullptr);
  EXPECT_EQ(report.at("not_correct").size(), 4U);
  EXPECT_EQ(report.at("not_correct").at(0),
            json::parse(R"({"group_id":"b","outcome":"misread","expected":"横浜 500 さ 56-78",
                            "read":"横浜 500 き 56-78","frames":2,"cause":"outvoted"})"));
}

TEST(JsonReport, HasBoxesAndCornersWhereTheTruthIsKnown) {
  const kavrel_test::OutputDir dir;
  dir.write_finished(kavrel_test::small_run());
  const RecordedRun run = read_run(dir.path());
  Assessment assessment = assess(run, kavrel_test::kWords);
  assessment.places = PlaceFigures{4, 3, {0.5, 0.7}, {0.01}};
  std::ostringstream out;
  write_json(run, assessment, {}, out);
  const json report = json::parse(out.str());
  EXPECT_EQ(objections_to(report), "");
  const json& places = report.at("places");
  EXPECT_EQ(places.at("frames"), 4);
  EXPECT_EQ(places.at("on_plate"), 3);
  EXPECT_EQ(places.at("detector_recall").at("value"), 0.75);
  EXPECT_NEAR(places.at("box_overlap").at("value"), 0.6, 1e-12);
  EXPECT_NEAR(places.at("box_overlap").at("low"), 0.6 - 1.959964 * 0.1, 1e-6);
  EXPECT_EQ(places.at("corner_error"), nullptr);
}

TEST(JsonReport, IsValidByItsSchema) {
  EXPECT_EQ(objections_to(report_of(kavrel_test::small_run())), "");
  EXPECT_EQ(objections_to(report_of({})), "");
  const std::string bytes = "\xFF\x01\"\\";
  EXPECT_EQ(objections_to(report_of({{bytes, bytes, bytes, {"", "", "", "", bytes}, {}}})), "");
}

TEST(JsonReport, WouldNotBeValidWithoutAFigure) {
  json report = report_of(kavrel_test::small_run());
  report.at("groups").erase("correct");
  EXPECT_NE(objections_to(report), "");
}

TEST(JsonReport, HasNoRateOfNothing) {
  const json report = report_of({});
  EXPECT_EQ(report.at("groups").at("accuracy"), nullptr);
  EXPECT_EQ(report.at("groups").at("character_error_rate").at("micro"), nullptr);
}

}  // namespace
}  // namespace kavrel::report
