#include "report/run/run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

using kavrel_test::failure_of;
using kavrel_test::frame_of;
using kavrel_test::OutputDir;
using kavrel_test::small_run;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string with(const std::string& text, const std::string& old, const std::string& fresh) {
  return std::string(text).replace(text.find(old), old.size(), fresh);
}

TEST(RecordedRun, HoldsWhatKavrelWrote) {
  const OutputDir dir;
  dir.write_finished(small_run());
  const RecordedRun run = read_run(dir.path());
  EXPECT_THAT(run.notices, IsEmpty());
  EXPECT_EQ(run.input_mode, "frame");
  ASSERT_EQ(run.frames.size(), 8U);
  EXPECT_EQ(run.frames[3].image_path, "in/b1.jpg");
  EXPECT_EQ(run.frames[3].expected, "横浜 500 さ 56-78");
  EXPECT_EQ(run.frames[3].fields.final_plate_number, "横浜 500 き 56-78");
  EXPECT_EQ(run.frames[3].ocr_texts.size(), 3U);
  ASSERT_EQ(run.groups.size(), 5U);
  EXPECT_EQ(run.groups[1].result.group_id, "b");
  EXPECT_EQ(run.groups[1].result.frame_count, 2);
  EXPECT_THAT(run.groups[1].frames, ElementsAre(3, 4));
  EXPECT_EQ(case_name(run.frames[3]), "b1");
}

TEST(RecordedRun, TakesAnyBytesInAnyCell) {
  const OutputDir dir;
  const std::string hostile = "a,\"b\"\n\r\x01\xFF</script> / x";
  FrameResult frame = frame_of(hostile, hostile, hostile, {{"gray_full", hostile}});
  dir.write_finished({frame});
  const RecordedRun run = read_run(dir.path());
  ASSERT_EQ(run.frames.size(), 1U);
  EXPECT_EQ(run.frames[0].group_id, hostile);
  EXPECT_EQ(run.frames[0].image_path, hostile);
  EXPECT_EQ(run.frames[0].ocr_texts[0].text, hostile);
  EXPECT_THAT(run.notices, IsEmpty());
}

TEST(RecordedRun, TellsThatItWasAborted) {
  const OutputDir dir;
  dir.write_aborted(small_run());
  const RecordedRun run = read_run(dir.path());
  EXPECT_EQ(run.groups.size(), 5U);
  EXPECT_THAT(run.notices, ElementsAre("summary.csv is missing: the run did not finish.",
                                       "FINAL_RESULT.json is missing: the run did not finish.",
                                       HasSubstr("These are the 8 frames that were read")));
}

TEST(RecordedRun, LeavesOutARowThatIsCut) {
  const OutputDir dir;
  dir.write_aborted(small_run());
  const std::string text = dir.read("frame_summary.csv");
  dir.write("frame_summary.csv", text.substr(0, text.size() - 5));
  const RecordedRun run = read_run(dir.path());
  EXPECT_EQ(run.frames.size(), 7U);
  EXPECT_THAT(
      run.notices,
      ElementsAre(HasSubstr("frame_summary.csv cannot be read to its end"),
                  HasSubstr("summary.csv is missing"), HasSubstr("FINAL_RESULT.json is missing"),
                  "1 row of frame_summary.csv is cut or damaged, and left out.",
                  HasSubstr("the 7 frames that were read")));
}

TEST(RecordedRun, LeavesOutADamagedRow) {
  const OutputDir dir;
  dir.write_aborted(small_run());
  dir.write("frame_summary.csv", with(dir.read("frame_summary.csv"), "\nb,in/b1.jpg,", "\nb"));
  const RecordedRun run = read_run(dir.path());
  EXPECT_EQ(run.frames.size(), 7U);
  EXPECT_THAT(run.notices.front(), HasSubstr("frame_summary.csv has a damaged row: b"));
}

TEST(RecordedRun, ReadsATableThatWasSavedWithReturns) {
  const OutputDir dir;
  dir.write_finished(small_run());
  std::string rows;
  for (const char byte : dir.read("summary.csv")) {
    rows += byte == '\n' ? std::string("\r\n") : std::string(1, byte);
  }
  dir.write("summary.csv", rows);
  dir.remove("frame_summary.csv");
  EXPECT_EQ(read_run(dir.path()).groups.size(), 5U);
}

TEST(RecordedRun, TellsThatSummaryBelongsToAnotherRun) {
  const OutputDir dir;
  dir.write_finished(small_run());
  dir.write_aborted({small_run().front()});
  const RecordedRun run = read_run(dir.path());
  EXPECT_EQ(run.groups.size(), 1U);
  EXPECT_THAT(run.notices,
              ElementsAre("summary.csv tells otherwise of group a than the frames of a.",
                          HasSubstr("otherwise of 5 groups, a the first")));
}

TEST(RecordedRun, TellsThatAStatusDoesNotFollow) {
  const OutputDir dir;
  dir.write_aborted(small_run());
  dir.write("frame_summary.csv", with(dir.read("frame_summary.csv"), ",correct,", ",check,"));
  EXPECT_THAT(read_run(dir.path()).notices, Contains(HasSubstr("1 frame recorded with a status")));
}

TEST(RecordedRun, TellsThatFinalResultCannotBeRead) {
  const OutputDir dir;
  dir.write_finished(small_run());
  for (const char* text : {"{", "", "[]", "{\"input_mode\": 3}"}) {
    dir.write("FINAL_RESULT.json", text);
    EXPECT_THAT(read_run(dir.path()).notices, ElementsAre("FINAL_RESULT.json is cut or edited."));
  }
}

TEST(RecordedRun, KnowsOnlyGroupsWithoutFrameSummary) {
  const OutputDir dir;
  dir.write_finished(small_run());
  dir.remove("frame_summary.csv");
  const RecordedRun run = read_run(dir.path());
  EXPECT_THAT(run.notices,
              ElementsAre(HasSubstr("frame_summary.csv is missing"), "Only the groups are known."));
  ASSERT_EQ(run.groups.size(), 5U);
  EXPECT_EQ(run.groups[0].result.frame_count, 3);
  EXPECT_EQ(run.groups[0].result.fields.final_plate_number, "品川 330 あ 12-34");
}

TEST(RecordedRun, KnowsWhosePicturesWereOverwritten) {
  const OutputDir dir;
  dir.write_finished({frame_of("a", "x/1.jpg", "", {}), frame_of("a", "y/1.png", "", {})});
  const RecordedRun run = read_run(dir.path());
  EXPECT_THAT(run.overwritten, ElementsAre(0));
  EXPECT_THAT(run.notices, ElementsAre(HasSubstr("1 frame whose pictures were overwritten"),
                                       HasSubstr("No group has an expected text")));
}

TEST(RecordedRun, FailsWithoutAnOutputOfKavrel) {
  const OutputDir dir;
  EXPECT_EQ(failure_of([&] { read_run(dir.path("none")); }),
            "there is no directory " + dir.path("none"));
  EXPECT_THAT(failure_of([&] { read_run(dir.path()); }), HasSubstr("no output of kavrel"));
  for (const char* left : {"", "group_id,ima"}) {  // by a full disk
    dir.write("frame_summary.csv", left);
    EXPECT_THAT(failure_of([&] { read_run(dir.path()); }), HasSubstr("no output of kavrel"));
  }
  dir.write("frame_summary.csv", "image_path,expected\na,b\n");
  EXPECT_EQ(failure_of([&] { read_run(dir.path()); }),
            dir.path() + "/frame_summary.csv does not begin with kavrel's header");
}

}  // namespace
}  // namespace kavrel::report
