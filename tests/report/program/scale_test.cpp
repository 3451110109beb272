// A run of more than ten thousand vehicles, none of them read right.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/report/output_dir.h"
#include "tests/report/report_program.h"

namespace kavrel_test {
namespace {

constexpr int kGroups = 10200;
constexpr int kReadings = 30;
constexpr double kMostSeconds = 10;
constexpr long kMostKilobytes = 500 << 10;
// Of what a release is decided on, without a page.
constexpr double kMostSecondsOfVerdicts = 3;
constexpr long kMostKilobytesOfVerdicts = 300 << 10;
constexpr int kPictures = 300;  // as many as a page shows

class LargeRun : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    dir_ = new OutputDir();
    std::vector<OcrText> readings;
    for (int i = 0; i < kReadings; ++i) {
      readings.push_back(
          {"gray_det_crop_" + std::to_string(i), "横浜500き56-7" + std::to_string(i)});
    }
    const FrameResult frame = frame_of("", "", "品川 330 あ 12-34", readings);
    std::vector<FrameResult> frames(kGroups, frame);
    for (int i = 0; i < kGroups; ++i) {
      frames[static_cast<std::size_t>(i)].group_id = std::to_string(kGroups + i);
      frames[static_cast<std::size_t>(i)].image_path = std::to_string(kGroups + i) + ".jpg";
      if (i < kPictures) dir_->write_pictures(std::to_string(kGroups + i));
    }
    dir_->write_finished(frames);
  }

  static void TearDownTestSuite() { delete dir_; }

  static void expect_modest(const ProgramOutcome& outcome) {
    RecordProperty("cpu_milliseconds", static_cast<int>(1000 * outcome.cpu_seconds));
    RecordProperty("peak_kilobytes", static_cast<int>(outcome.peak_kilobytes));
    EXPECT_LT(outcome.cpu_seconds, kMostSeconds);
    EXPECT_LT(outcome.peak_kilobytes, kMostKilobytes);
  }

  static std::uintmax_t size_of(const std::string& name) {
    return std::filesystem::file_size(dir_->path(name));
  }

  static OutputDir* dir_;
};

OutputDir* LargeRun::dir_ = nullptr;

TEST_F(LargeRun, HasAPageSoon) {
  const ProgramOutcome outcome = run_report({"html", dir_->path()});
  EXPECT_EQ(outcome.status, 0);
  expect_modest(outcome);
  EXPECT_LT(size_of("report.html"), 40U << 20U);
  EXPECT_THAT(dir_->read("report.html"), testing::HasSubstr("which leaves out 9900 groups"));
}

TEST_F(LargeRun, HasAJunitFileOfModestSize) {
  const ProgramOutcome outcome = run_report({"junit", dir_->path()});
  EXPECT_EQ(outcome.status, 0);
  expect_modest(outcome);
  EXPECT_LT(size_of("junit.xml"), 30U << 20U);
}

TEST_F(LargeRun, IsComparedSoon) {
  const OutputDir other;
  std::filesystem::create_directory_symlink(dir_->path(), other.path("same"));
  const ProgramOutcome outcome =
      run_report({"compare", dir_->path(), other.path("same"), "-o", dir_->path("diff.html")});
  EXPECT_EQ(outcome.status, 0);
  expect_modest(outcome);
}

TEST_F(LargeRun, HasVerdictsSooner) {
  for (const char* command : {"json", "misread"}) {
    const ProgramOutcome outcome = run_report({command, dir_->path()});
    expect_modest(outcome);
    EXPECT_LT(outcome.cpu_seconds, kMostSecondsOfVerdicts) << command;
    EXPECT_LT(outcome.peak_kilobytes, kMostKilobytesOfVerdicts) << command;
  }
}

// It opens every file of the run, which a machine that does other work takes longer for.
TEST_F(LargeRun, IsJudgedSoon) {
  const ProgramOutcome outcome = run_report({"gate", dir_->path()});
  EXPECT_EQ(outcome.status, 0);
  expect_modest(outcome);
  EXPECT_LT(outcome.peak_kilobytes, kMostKilobytesOfVerdicts);
}

TEST_F(LargeRun, HasAGallerySoon) {
  expect_modest(run_report({"gallery", dir_->path()}));
  EXPECT_LT(size_of("gallery.html"), 20U << 20U);
}

}  // namespace
}  // namespace kavrel_test
