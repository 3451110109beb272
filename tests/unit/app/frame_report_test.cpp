#include "app/frame_report.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "tests/support/expected_texts.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::kFrameSummaryHeader;
using kavrel_test::TempDir;

// Every field has a value of its own.
FrameResult shinagawa() {
  return {"a/car1.jpg",
          "品川330あ12-34",
          "car1",
          {"品川", "330", "あ", "12-34", "品川 330 あ 12-34"},
          {{"original_full", "品川 330"}, {"gray_upper_row", "あ"}}};
}

std::string txt_of(const FrameResult& frame) {
  const TempDir dir;
  write_result_txt(make_frame_report(frame), dir.path());
  return dir.read("result.txt");
}

std::string json_of(const FrameResult& frame) {
  const TempDir dir;
  write_result_json(make_frame_report(frame), dir.path());
  return dir.read("result.json");
}

// The row without the header.
std::string csv_row_of(const FrameResult& frame) {
  const TempDir dir;
  FrameSummary(dir.path("frames.csv")).add_row(make_frame_report(frame));
  const std::string file = dir.read("frames.csv");
  EXPECT_EQ(file.substr(0, kFrameSummaryHeader.size()), kFrameSummaryHeader);
  return file.substr(kFrameSummaryHeader.size());
}

TEST(FrameReport, JudgesTheFinalPlateNumber) {
  FrameResult frame = shinagawa();
  EXPECT_EQ(make_frame_report(frame).status, "correct");
  frame.fields.final_plate_number = "品川 330 12-34";
  EXPECT_EQ(make_frame_report(frame).status, "check");
  frame.expected = "";
  EXPECT_EQ(make_frame_report(frame).status, "unknown");
}

TEST(FrameReport, DoesNotJudgeTheFields) {
  FrameResult frame = shinagawa();
  frame.fields.kana = "い";
  EXPECT_EQ(make_frame_report(frame).status, "correct");
}

TEST(FrameReport, JoinsTheReadingsInTheirOrder) {
  EXPECT_EQ(make_frame_report(shinagawa()).ocr_texts, "original_full:品川 330 / gray_upper_row:あ");
  EXPECT_EQ(make_frame_report(FrameResult()).ocr_texts, "");
}

TEST(ResultTxt, ShowsTenFieldsOnePerLine) {
  EXPECT_EQ(txt_of(shinagawa()),
            "group_id: car1\n"
            "image_path: a/car1.jpg\n"
            "expected: 品川330あ12-34\n"
            "ocr_texts: original_full:品川 330 / gray_upper_row:あ\n"
            "region: 品川\n"
            "class_no: 330\n"
            "kana: あ\n"
            "serial: 12-34\n"
            "final_plate_number: 品川 330 あ 12-34\n"
            "status: correct\n");
}

TEST(ResultTxt, KeepsTheKeysOfEmptyFields) {
  EXPECT_EQ(txt_of(FrameResult()),
            "group_id: \nimage_path: \nexpected: \nocr_texts: \nregion: \nclass_no: \nkana: \n"
            "serial: \nfinal_plate_number: \nstatus: unknown\n");
}

TEST(ResultTxt, EscapesNothing) {
  FrameResult frame;
  frame.group_id = "a\"b\tc\\d,e";
  EXPECT_EQ(txt_of(frame).substr(0, 21), "group_id: a\"b\tc\\d,e\ni");
}

TEST(ResultJson, ShowsTenStringsInItsOwnOrder) {
  EXPECT_EQ(json_of(shinagawa()),
            "{\n"
            "  \"group_id\": \"car1\",\n"
            "  \"image_path\": \"a/car1.jpg\",\n"
            "  \"expected\": \"品川330あ12-34\",\n"
            "  \"final_plate_number\": \"品川 330 あ 12-34\",\n"
            "  \"region\": \"品川\",\n"
            "  \"class_no\": \"330\",\n"
            "  \"kana\": \"あ\",\n"
            "  \"serial\": \"12-34\",\n"
            "  \"ocr_texts\": \"original_full:品川 330 / gray_upper_row:あ\",\n"
            "  \"status\": \"correct\"\n"
            "}\n");
}

TEST(ResultJson, EscapesEveryValue) {
  const std::string raw = "\"\\\t\n\r\x01";
  const std::string escaped = "\\\"\\\\\\t\\n\\r\x01";
  const FrameResult frame = {raw, raw, raw, {raw, raw, raw, raw, raw}, {{raw, raw}}};
  EXPECT_EQ(json_of(frame), "{\n  \"group_id\": \"" + escaped +          //
                                "\",\n  \"image_path\": \"" + escaped +  //
                                "\",\n  \"expected\": \"" + escaped +    //
                                "\",\n  \"final_plate_number\": \"" + escaped +
                                "\",\n  \"region\": \"" + escaped +    //
                                "\",\n  \"class_no\": \"" + escaped +  //
                                "\",\n  \"kana\": \"" + escaped +      //
                                "\",\n  \"serial\": \"" + escaped +    //
                                "\",\n  \"ocr_texts\": \"" + escaped + ":" + escaped +
                                "\",\n  \"status\": \"correct\"\n}\n");
}

TEST(ResultJson, ShowsACaseWithoutReadingsAsEmptyStrings) {
  EXPECT_NE(json_of(FrameResult()).find("  \"ocr_texts\": \"\",\n"), std::string::npos);
}

TEST(FrameSummary, ShowsTenCellsInTheOrderOfItsHeader) {
  EXPECT_EQ(csv_row_of(shinagawa()),
            "car1,a/car1.jpg,品川330あ12-34,品川 330 あ 12-34,correct,品川,330,あ,12-34,"
            "original_full:品川 330 / gray_upper_row:あ\n");
}

TEST(FrameSummary, EndsWithAnEmptyCellWithoutReadings) {
  EXPECT_EQ(csv_row_of(FrameResult()), ",,,,unknown,,,,,\n");
}

TEST(FrameSummary, QuotesEveryCellThatNeedsItAndNoOther) {
  const std::string raw = "a,\"b\"";
  const std::string quoted = "\"a,\"\"b\"\"\"";
  const FrameResult frame = {raw, raw, raw, {raw, raw, raw, raw, raw}, {{"s", raw}}};
  const std::string three = quoted + "," + quoted + "," + quoted + ",";
  EXPECT_EQ(csv_row_of(frame),
            three + quoted + ",correct," + three + quoted + ",\"s:a,\"\"b\"\"\"\n");
}

TEST(FrameSummary, DoesNotQuoteATab) {
  FrameResult frame;
  frame.group_id = "a\tb";
  EXPECT_EQ(csv_row_of(frame), "a\tb,,,,unknown,,,,,\n");
}

TEST(FrameSummary, HasItsHeaderAndEveryFinishedRowOnDiskAtOnce) {
  const TempDir dir;
  FrameSummary summary(dir.path("frames.csv"));
  EXPECT_EQ(dir.read("frames.csv"), kFrameSummaryHeader);
  summary.add_row(make_frame_report(FrameResult()));
  EXPECT_EQ(dir.read("frames.csv"), kFrameSummaryHeader + ",,,,unknown,,,,,\n");
  summary.add_row(make_frame_report(FrameResult()));
  EXPECT_EQ(dir.read("frames.csv"), kFrameSummaryHeader + ",,,,unknown,,,,,\n,,,,unknown,,,,,\n");
}

TEST(FrameReport, ReplacesTheFilesOfAnEarlierRun) {
  const TempDir dir;
  const std::string old(5000, 'x');
  for (const char* name : {"result.txt", "result.json", "frames.csv"}) dir.write(name, old);
  const FrameResult frame;
  write_result_txt(make_frame_report(frame), dir.path());
  write_result_json(make_frame_report(frame), dir.path());
  const FrameSummary summary(dir.path("frames.csv"));
  for (const std::string& name : dir.names()) {
    EXPECT_EQ(dir.read(name).find('x', 200), std::string::npos) << name;
  }
}

TEST(FrameReport, SkipsFilesThatCannotBeWritten) {
  const TempDir dir;
  const std::string nowhere = dir.path("missing");
  const FrameResult frame;
  EXPECT_NO_THROW(write_result_txt(make_frame_report(frame), nowhere));
  EXPECT_NO_THROW(write_result_json(make_frame_report(frame), nowhere));
  EXPECT_NO_THROW(FrameSummary(nowhere + "/frames.csv").add_row(make_frame_report(frame)));
  EXPECT_TRUE(dir.names().empty());
}

}  // namespace
}  // namespace kavrel
