#include <csignal>

#include "tests/program/program_fixture.h"

namespace kavrel_test {
namespace {

using testing::EndsWith;

const std::vector<std::string> kImages = {"a.png", "b.png", "c.png"};

// The rows of the first `count` cases, whose plates read kShinagawa.
std::string rows_of(int count) {
  std::string rows = kFrameSummaryHeader;
  for (int i = 0; i < count; ++i) {
    rows += "g," + kImages[static_cast<std::size_t>(i)] + ",," + kShinagawaNumber + ",unknown," +
            kShinagawaFields + "," + ocr_texts(kShinagawa) + "\n";
  }
  return rows;
}

class InterruptedRun : public ProgramTest {
 protected:
  InterruptedRun() { list_cases("a.png,,g\nb.png,,g\nc.png,,g\n", kImages); }

  void expect_two_cases_finished() const {
    EXPECT_EQ(read(kOutput + "/frame_summary.csv"), rows_of(2));
    EXPECT_TRUE(exists(kCases + "/b/result.json"));
    EXPECT_FALSE(exists(kCases + "/c/result.txt"));
    EXPECT_FALSE(exists(kOutput + "/summary.csv"));
    EXPECT_FALSE(exists(kOutput + "/FINAL_RESULT.json"));
  }
};

// Each plate takes twenty readings; the third one dies at its seventh.
TEST_F(InterruptedRun, KeepsTheRowsOfFinishedCasesWhenItIsKilled) {
  write(kReaderModel, reader_script(reads_every_plate(kShinagawa) + "kill 47\n"));
  EXPECT_EQ(run().status, -SIGKILL);
  expect_two_cases_finished();
}

TEST_F(InterruptedRun, KeepsTheRowsOfFinishedCasesWhenANetworkFails) {
  struct LaterCall {
    std::string path, script;
    int run;  // in the third case
  };
  const std::vector<LaterCall> networks = {
      {kPlateModel, plate_detector_script(""), 3},
      {kCornerModel, corner_script(), 3},
      {kLinesModel, line_detector_script(), 12},
      {kReaderModel, reader_script(reads_every_plate(kShinagawa)), 59}};
  write(kPlateModel, networks[0].script);
  for (const auto& [path, script, number] : networks) {
    for (const std::string call : {"inputs_set", "run", "outputs_get"}) {
      SCOPED_TRACE(path + " " + call);
      remove(kOutput);
      write(path, script + "fail " + call + " " + std::to_string(number) + " -5\n");
      EXPECT_THAT(run({"--input-mode", "frame"}),
                  FailsWith("rknn_" + call + " failed: " + path + ", ret=-5"));
      expect_two_cases_finished();
    }
    write(path, script);
  }
}

// Writing to /dev/full fails as on a disk without room.
class FullDisk : public InterruptedRun {
 protected:
  void expect_same_report_with_full(const std::vector<std::string>& full) {
    const std::string expected = run().out;
    remove(kOutput);
    for (const std::string& path : full) link_to("/dev/full", kOutput + "/" + path);
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, expected);
  }
};

TEST_F(FullDisk, IsNoErrorForTheReports) {
  expect_same_report_with_full({"frame_summary.csv", "summary.csv", "FINAL_RESULT.json",
                                "cases/a/result.txt", "cases/b/result.json"});
  EXPECT_THAT(read(kCases + "/a/result.json"), EndsWith("\"status\": \"unknown\"\n}\n"));
  EXPECT_THAT(read(kCases + "/b/result.txt"), EndsWith("status: unknown\n"));
}

TEST_F(FullDisk, IsNoErrorForThePictures) {
  expect_same_report_with_full({"cases/a/plate_roi.jpg", "cases/a/corner_debug.jpg",
                                "cases/a/rectified_plate.jpg", "cases/a/ocr_variant_original.jpg",
                                "cases/a/ocr_variant_gray_det_mask.jpg",
                                "cases/a/ocr_variant_gray_det_boxes.jpg"});
  EXPECT_EQ(read(kOutput + "/frame_summary.csv"), rows_of(3));
  EXPECT_TRUE(exists(kCases + "/b/plate_roi.jpg"));
}

// No one can write there, the superuser included.
TEST_F(InterruptedRun, NeedsADirectoryThatCanBeWritten) {
  EXPECT_THAT(run({"--output-dir", "/proc/kavrel"}), FailsWith("mkdir failed: /proc/kavrel"));
  EXPECT_THAT(run({"--output-dir", "/proc/self"}), FailsWith("mkdir failed: /proc/self/cases"));
}

}  // namespace
}  // namespace kavrel_test
