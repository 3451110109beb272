#include "report/run/run_log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "report/run/run.h"
#include "tests/report/output_dir.h"
#include "tests/report/report_program.h"

namespace kavrel::report {
namespace {

using kavrel_test::OutputDir;
using kavrel_test::small_run;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kBegin =
    "[RUN] started=2026-11-22T04:00:00\n"
    "[RUN] machine=Linux x86_64\n"
    "[RUN] command=build/kavrel --input-list my\\ list.csv --ocr-dict dict.txt --output-dir out \n"
    "[RUN] sha256=aa11 my list.csv\n"
    "[RUN] sha256=bb22 dict.txt\n"
    "[RUN] runtime=/lib/librknnrt.so\n"
    "[RUN] sha256=cc33 /lib/librknnrt.so\n";
const std::string kRun =
    "[INFO] input_mode=auto\n[INFO] use_plate_det=false\n[INFO] cases=8\n"
    "[RKNN] corner.rknn\n  input[0] name=image dims=[1,3,128,256] type=0 fmt=0\n[RKNN] det.rknn\n"
    "[WARN] plate_det produced no valid final boxes. Fallback to full image ROI.\n"
    "[WARN] plate_det produced no valid final boxes. Fallback to full image ROI.\n"
    "[WARN] OCR dict was missing one char; appended half-width space in memory.\n"
    "========== CASE 1/8: a.jpg group=a ==========\n";
const std::string kEnd = "[RUN] status=0 seconds=12\n";

TEST(RunLog, TellsWhatWasRun) {
  const RunLog log = parse_run_log(kBegin + kRun + kEnd);
  EXPECT_EQ(log.started, "2026-11-22T04:00:00");
  EXPECT_EQ(log.file_of("--input-list")->path, "my list.csv");
  EXPECT_EQ(log.file_of("--input-list")->sha256, "aa11");
  EXPECT_EQ(log.file_of("--ocr-dict")->sha256, "bb22");
  EXPECT_EQ(log.file_of("--dict-region"), nullptr);
  EXPECT_EQ(log.runtime.sha256, "cc33");
  EXPECT_THAT(log.networks, ElementsAre("corner.rknn", "det.rknn"));
  EXPECT_EQ(log.cases, 8);
  EXPECT_EQ(log.begun, 1);
  EXPECT_EQ(log.seconds, 12);
  EXPECT_EQ(log.status, 0);
}

TEST(RunLog, TellsWarningsOfDictionariesFirstAndEachOnce) {
  EXPECT_THAT(parse_run_log(kRun).warnings,
              ElementsAre(HasSubstr("OCR dict was missing"), HasSubstr("image ROI. (2 times)")));
}

TEST(RunLog, TellsTheLastOfSeveralRuns) {
  const RunLog log = parse_run_log(kBegin + kRun + "[ERROR] failed to read image: b.jpg\n" +
                                   "[RUN] started=2026-11-23T04:00:00\n[INFO] cases=2\n");
  EXPECT_EQ(log.cases, 2);
  EXPECT_EQ(log.command, "");
  EXPECT_THAT(log.errors, IsEmpty());
}

TEST(RunLog, StandsAnyText) {
  for (const char* text : {"", "\n\n", "[RUN] sha256=\n[RUN] status=\n[INFO] cases=x\n",
                           "[RUN] command=--input-list\n", "\xFF\x01"}) {
    EXPECT_EQ(parse_run_log(text).cases, -1) << text;
  }
}

TEST(RunLog, TellsOptionsThatNameNoFile) {
  const auto options = [](const std::string& command) {
    return parse_run_log("[RUN] command=" + command + "\n").options;
  };
  EXPECT_EQ(options("kavrel --ocr-dict d.txt --output-dir out"), "");
  EXPECT_EQ(options("kavrel --input-mode auto --input-list l.csv --plate-det-thresh 0.9"),
            "--input-mode auto --plate-det-thresh 0.9");
  const auto facts = facts_of(parse_run_log("[RUN] command=kavrel --fail-on-error\n"));
  EXPECT_THAT(facts, Contains(AllOf(Field(&Fact::name, "Other options"),
                                    Field(&Fact::value, "--fail-on-error"))));
}

TEST(RunLog, IsWhatTheScriptKeeps) {
  const OutputDir dir;
  const std::string program = dir.write("kavrel", "#!/bin/sh\necho '[INFO] cases=2' >&2\nexit 2\n");
  std::filesystem::permissions(program, std::filesystem::perms::owner_all);
  const std::string list = dir.write("my list.csv", "abc");
  const kavrel_test::ProgramOutcome outcome =
      kavrel_test::run_program({KAVREL_SOURCE_DIR "/tools/logged.sh", program, "--input-list", list,
                                "--output-dir", dir.path("out")});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "[INFO] cases=2\n");
  const auto log = read_run_log(dir.path("out"));
  ASSERT_TRUE(log);
  EXPECT_EQ(log->file_of("--input-list")->path, list);
  EXPECT_EQ(log->file_of("--input-list")->sha256,
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(log->cases, 2);
  EXPECT_EQ(log->status, 2);
}

TEST(RunLog, SaysThatThereIsNone) {
  const auto facts = facts_of(std::nullopt);
  ASSERT_EQ(facts.size(), 1U);
  EXPECT_THAT(facts.front().value, HasSubstr("There is no kavrel.log"));
}

std::vector<std::string> fault_keys(const OutputDir& dir) {
  std::vector<std::string> keys;
  for (const Fault& fault : read_run(dir.path()).faults) keys.emplace_back(fault.key);
  return keys;
}

TEST(RunFaults, AreNoneOfAWholeRun) {
  OutputDir dir;
  dir.write_finished(small_run());
  dir.write_pictures("b1");
  EXPECT_THAT(fault_keys(dir), IsEmpty());
  dir.write("kavrel.log", kBegin + kRun + kEnd);
  EXPECT_THAT(fault_keys(dir), IsEmpty());
}

TEST(RunFaults, TellAnAbortedRunByItsFilesAndByItsLog) {
  OutputDir aborted;
  aborted.write_aborted(small_run());
  EXPECT_THAT(fault_keys(aborted), ElementsAre("aborted", "aborted"));
  for (const std::string& end :
       {kRun + "[ERROR] failed to read image: b.jpg\n" + kEnd, kRun, "[INFO] cases=9\n" + kEnd}) {
    OutputDir dir;
    dir.write_finished(small_run());
    dir.write("kavrel.log", kBegin + end);
    EXPECT_THAT(fault_keys(dir), ElementsAre("aborted")) << end;
  }
}

TEST(RunFaults, TellWhatIsCutMixedEmptyOrUnlabelled) {
  OutputDir cut;
  cut.write_finished(small_run());
  cut.write("summary.csv", "");
  EXPECT_THAT(fault_keys(cut), ElementsAre("cut"));
  OutputDir mixed;
  mixed.write_finished(small_run());
  mixed.write_pictures("an_older_case");
  EXPECT_THAT(fault_keys(mixed), ElementsAre("mixed"));
  OutputDir empty;
  empty.write_finished({});
  EXPECT_THAT(fault_keys(empty), ElementsAre("empty"));
  OutputDir unlabelled;
  unlabelled.write_finished({small_run()[6]});
  EXPECT_THAT(fault_keys(unlabelled), ElementsAre("unlabelled"));
}

// frame_summary.csv begins anew, summary.csv is still the earlier run's.
TEST(RunFaults, TellARunThatWasAbortedOverAnEarlierOne) {
  OutputDir dir;
  dir.write_finished(small_run());
  dir.write_aborted({small_run()[0]});
  EXPECT_THAT(fault_keys(dir), ElementsAre("mixed"));
}

TEST(RunNotices, BeginWithWhatSpoilsEveryReading) {
  OutputDir dir;
  dir.write_finished(small_run());
  dir.write("kavrel.log", kBegin + kRun + kEnd);
  EXPECT_THAT(read_run(dir.path()).notices,
              ElementsAre("The detector's file was not there, so the whole picture was read as a "
                          "plate.",
                          HasSubstr("OCR dict"), HasSubstr("no valid final boxes")));
}

}  // namespace
}  // namespace kavrel::report
