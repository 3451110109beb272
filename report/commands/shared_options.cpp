#include "report/commands/shared_options.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "app/base/files.h"
#include "report/base/resources.h"
#include "report/commands/parser.h"
#include "report/run/truth.h"

namespace kavrel::report {
namespace {

std::filesystem::path in_full(const std::string& dir) {
  return (std::filesystem::absolute(dir) / "").lexically_normal();
}

Truth truth_of(const RecordedRun& run, const std::string& path) {
  Truth truth = read_truth(path);
  const auto is_known = [&](const FrameResult& frame) { return truth.find(frame) != nullptr; };
  if (std::none_of(run.frames.begin(), run.frames.end(), is_known)) {
    throw std::runtime_error("none of the run's pictures has a place in " + path);
  }
  return truth;
}

}  // namespace

void add_output_dir(CLI::App& command, SharedOptions& options) {
  require(add_text(command, "OUTPUT_DIR", options.output_dir, "where kavrel wrote its results"));
}

void add_words(CLI::App& command, SharedOptions& options) {
  add_text(command, "--dict-region", options.dict_region,
           "region words of the run, if they were not those of this build");
}

void add_list_of_run(CLI::App& command, SharedOptions& options) {
  add_text(command, "--list", options.list, "the run's list [the one that its log names]");
}

void add_truth(CLI::App& command, SharedOptions& options) {
  add_text(command, "--truth", options.truth,
           "where the plates are: JSON with image_path, box and corners of each");
}

void add_max_frames(CLI::App& command, SharedOptions& options) {
  add_count(command, "--max-frames", options.max_frames, "frames that are shown with pictures");
}

void add_separate_files(CLI::App& command, SharedOptions& options) {
  add_flag(command, "--separate-files", options.separate_files,
           "style and pictures beside the page, for servers that block embedded ones");
}

std::string file_or(const SharedOptions& options, const char* name) {
  return options.file.empty() ? options.output_dir + "/" + name : options.file;
}

std::string file_or_output(const SharedOptions& options) {
  return options.file.empty() ? "-" : options.file;
}

std::vector<std::string> built_in_words() {
  std::istringstream lines(resources::kRegionWords);
  return trimmed_lines(lines);
}

std::vector<std::string> region_words(const SharedOptions& options) {
  if (options.dict_region.empty()) return built_in_words();
  return read_trimmed_lines(options.dict_region);
}

RecordedRun read_shown(const std::string& dir) { return read_run(dir, RunDepth::kTables); }

void refuse_the_same(const std::string& base_dir, const std::string& new_dir) {
  if (in_full(base_dir) != in_full(new_dir)) return;
  throw std::runtime_error("both runs are the same directory: " + new_dir);
}

Assessment assess(const RecordedRun& run, const SharedOptions& options) {
  const Truth truth = options.truth.empty() ? Truth() : truth_of(run, options.truth);
  return assess(run, region_words(options), truth);
}

}  // namespace kavrel::report
