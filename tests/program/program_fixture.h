// Runs the built program in a directory of its own, with the scripted NPU runtime.
#ifndef KAVREL_TESTS_PROGRAM_PROGRAM_FIXTURE_H
#define KAVREL_TESTS_PROGRAM_PROGRAM_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "tests/program/model_scripts.h"
#include "tests/support/expected_texts.h"
#include "tests/support/temp_dir.h"

namespace kavrel_test {

inline const std::string kPlateModel = "models/rknn/plate_det.rknn";
inline const std::string kCornerModel = "models/rknn/plate_corner.rknn";
inline const std::string kLinesModel = "models/rknn/ppocrv6_det.rknn";
inline const std::string kReaderModel = "models/rknn/ppocrv6_rec.rknn";
inline const std::string kRegionWords = "dict/region_words.txt";
inline const std::string kOcrDictionary = "dict/ppocrv6_rec_dict.txt";
inline const std::string kCaseList = "samples/real_lpr/real_lpr_expected.csv";
inline const std::string kOutput = "output/v21_product_validation";
inline const std::string kCases = kOutput + "/cases";

// The fields of PlateTexts kShinagawa as they stand in both summaries, without the status.
inline const std::string kShinagawaNumber = "品川 500 あ 12-34";
inline const std::string kShinagawaFields = "品川,500,あ,12-34";

// Width and height of what the networks other than the plate detector see.
const cv::Size kCornerInput(256, 128);
const cv::Size kLinesInput(640, 640);
const cv::Size kReaderInput(320, 48);

struct Outcome {
  int status = -1;  // exit status, or minus the signal that ended the program
  std::string out;
  std::string err;
};

// A test begins with a working directory that holds what a run without arguments needs: the three
// models of "roi" mode, both dictionaries and an empty case list. Every plate reads kShinagawa.
class ProgramTest : public testing::Test {
 protected:
  ProgramTest();

  // All paths are relative to the working directory.
  std::string absolute(const std::string& path) const { return (work_ / path).string(); }
  Outcome run(const std::vector<std::string>& arguments = {}) const;
  // The same of another program, its path the first word.
  Outcome run_other(std::vector<std::string> words) const;
  // Leaves what each network was shown to `inputs`.
  Outcome run_keeping_inputs(const std::vector<std::string>& arguments = {}) const;
  // What the network of this label was shown in the last run, blue first as pictures are here.
  std::vector<cv::Mat> inputs(const std::string& label, const cv::Size& size) const;
  void write(const std::string& path, const std::string& text) const;
  void write_image(const std::string& path, const cv::Mat& image) const;
  std::string read(const std::string& path) const;
  cv::Mat picture(const std::string& path) const;
  // Whether the file is exactly this picture, written as a JPEG file with default settings.
  testing::AssertionResult shows(const std::string& path, const cv::Mat& image) const;
  void remove(const std::string& path) const;
  bool exists(const std::string& path) const;
  void make_directory(const std::string& path) const;
  void link_to(const std::string& target, const std::string& path) const;

  // Names of all files below a directory, relative to it, in byte-wise order.
  std::vector<std::string> files(const std::string& directory = ".") const;
  // The runtime's calls in the last run.
  std::vector<std::string> calls() const;
  // That the last run made these calls, and then released its three networks, in whatever order.
  void expect_calls_and_releases(const std::vector<std::string>& expected) const;
  // How often the runtime function was called for the model of this label in the last run.
  long count_calls(const std::string& function, const std::string& label) const;

  // The runtime's calls of a run in "roi" mode up to the corners of its first case's image.
  std::vector<std::string> calls_up_to_corners() const;

  // Gives the run a case list of these lines, and an image for every name in `images`.
  void list_cases(const std::string& lines, const std::vector<std::string>& images = {}) const;

  // What a run with the default models writes to standard error before its first case.
  std::string start_up_lines(const std::string& mode, int cases) const;

 private:
  const TempDir root_;  // the working directory, and beside it what a run leaves behind
  const std::filesystem::path work_;
};

// Lines of `text` that begin with `prefix`, in order.
std::vector<std::string> lines_with(const std::string& text, const std::string& prefix);
std::string last_line(const std::string& text);

void append(std::vector<std::string>& lines, const std::vector<std::string>& more);

// The four log lines of one inference on a picture of this size.
std::vector<std::string> inference_calls(const std::string& label, const cv::Size& size);
// The log lines of loading a model with one input and one output from a script of `bytes` bytes.
std::vector<std::string> load_calls(const std::string& label, std::size_t bytes);

// A failed run: only the message, as the last line of standard error, and exit status 1.
MATCHER_P(FailsWith, message, "") {
  *result_listener << "status " << arg.status << ", out: " << arg.out << ", err: " << arg.err;
  return arg.status == 1 && arg.out.empty() &&
         last_line(arg.err) == "[ERROR] " + std::string(message) && arg.err.back() == '\n';
}

}  // namespace kavrel_test

#endif
