// What several commands share: options that mean the same in each, and what they stand for.
#ifndef KAVREL_REPORT_COMMANDS_SHARED_OPTIONS_H
#define KAVREL_REPORT_COMMANDS_SHARED_OPTIONS_H

#include <cstddef>
#include <string>
#include <vector>

#include "report/assessment/assessment.h"
#include "report/run/run.h"

namespace CLI {
class App;
}

namespace kavrel::report {

constexpr int kExitFailure = 1;
// What was asked does not hold: a release that is refused, groups that were lost, a list's
// warnings.
constexpr int kExitRefused = 3;

struct SharedOptions {
  std::string output_dir;
  std::string file;  // of --output
  std::string dict_region;
  std::string list;
  std::string truth;
  std::size_t max_frames = 300;
  bool separate_files = false;
};

// Each adds one option to a command.
void add_output_dir(CLI::App& command, SharedOptions& options);
void add_words(CLI::App& command, SharedOptions& options);
void add_list_of_run(CLI::App& command, SharedOptions& options);
void add_truth(CLI::App& command, SharedOptions& options);
void add_max_frames(CLI::App& command, SharedOptions& options);
void add_separate_files(CLI::App& command, SharedOptions& options);

// --output, or a file of this name in the output directory.
std::string file_or(const SharedOptions& options, const char* name);
// --output, or "-" for standard output.
std::string file_or_output(const SharedOptions& options);

std::vector<std::string> built_in_words();
// Those of --dict-region, or else the built-in ones. Throws what read_trimmed_lines() throws.
std::vector<std::string> region_words(const SharedOptions& options);

// A run whose tables are held against each other: enough for what only shows it. What decides on it
// opens all files, by read_run(). Throws as that does.
RecordedRun read_shown(const std::string& dir);

// Throws std::runtime_error if both paths are one directory, as a mistyped command has it: a run is
// never worse than itself.
void refuse_the_same(const std::string& base_dir, const std::string& new_dir);

// With the region words and the truth of the options. Throws std::runtime_error if the truth has
// none of the run's pictures.
Assessment assess(const RecordedRun& run, const SharedOptions& options);

}  // namespace kavrel::report

#endif
