#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <opencv2/core/utils/logger.hpp>
#include <sstream>
#include <stdexcept>

#include "app/base/files.h"
#include "app/base/log.h"
#include "report/assessment.h"
#include "report/compare.h"
#include "report/explain.h"
#include "report/html_compare.h"
#include "report/html_report.h"
#include "report/json_report.h"
#include "report/junit.h"
#include "report/resources.h"
#include "report/run.h"
#include "report/text_compare.h"
#include "report/unicode.h"

namespace {

namespace report = kavrel::report;

constexpr int kExitFailure = 1;
constexpr int kExitLost = 3;

struct Options {
  std::string output_dir;
  std::string new_dir;
  std::string case_name;
  std::string file;
  std::string dict_region;
  std::size_t max_frames = 300;
  int allow_broken = 0;
  bool allow_removed = false;
};

using Writer = std::function<void(std::ostream&)>;

// "-" is standard output.
void write_file(const std::string& path, const Writer& write) {
  if (path == "-") {
    write(std::cout);
    if (!std::cout.flush()) throw std::runtime_error("failed to write to standard output");
    return;
  }
  std::ofstream file(path, std::ios::binary);
  write(file);
  file.close();
  if (!file) throw std::runtime_error("failed to write: " + path);
  std::cout << "wrote " << path << std::endl;
}

std::string file_or(const Options& options, const std::string& dir, const char* name) {
  return options.file.empty() ? dir + "/" + name : options.file;
}

std::vector<std::string> built_in_words() {
  std::istringstream lines(report::resources::kRegionWords);
  return kavrel::trimmed_lines(lines);
}

std::vector<std::string> region_words(const Options& options) {
  if (options.dict_region.empty()) return built_in_words();
  return kavrel::read_trimmed_lines(options.dict_region);
}

int write_html(const Options& options) {
  const report::RecordedRun run = report::read_run(options.output_dir);
  const std::vector<std::string> words = region_words(options);
  const std::string words_name = options.dict_region.empty()
                                     ? "the region words that kavrel-report was built with"
                                     : "the region words of " + options.dict_region;
  const report::Assessment assessment = report::assess(run, words);
  const std::string page =
      report::render_report(run, assessment, words, words_name, options.max_frames);
  write_file(file_or(options, options.output_dir, "report.html"),
             [&](std::ostream& out) { out << page; });
  return 0;
}

int write_comparison(const Options& options) {
  const report::RecordedRun base = report::read_run(options.output_dir);
  const report::RecordedRun fresh = report::read_run(options.new_dir);
  const report::Assessment base_assessment = report::assess(base, built_in_words());
  const report::Assessment fresh_assessment = report::assess(fresh, built_in_words());
  const report::Comparison comparison =
      report::compare_runs(base, base_assessment, fresh, fresh_assessment);
  const report::ComparedRuns runs{base, base_assessment, fresh, fresh_assessment, comparison};
  const std::string verdict = report::verdict_on(comparison, options.allow_removed);
  report::print_comparison(runs, std::cout);
  std::cout << verdict << std::endl;
  if (!options.file.empty()) {
    const std::string page = report::render_comparison(runs, verdict, options.max_frames);
    write_file(options.file, [&](std::ostream& out) { out << page; });
  }
  const int lost = report::count_lost(comparison, options.allow_removed);
  return lost > options.allow_broken ? kExitLost : 0;
}

int write_junit(const Options& options) {
  const report::RecordedRun run = report::read_run(options.output_dir);
  const report::Assessment assessment = report::assess(run, built_in_words());
  write_file(file_or(options, options.output_dir, "junit.xml"),
             [&](std::ostream& out) { report::write_junit(run, assessment, out); });
  return 0;
}

int write_json(const Options& options) {
  const report::RecordedRun run = report::read_run(options.output_dir);
  const report::Assessment assessment = report::assess(run, region_words(options));
  write_file(options.file.empty() ? "-" : options.file,
             [&](std::ostream& out) { report::write_json(run, assessment, out); });
  return 0;
}

int explain(const Options& options) {
  report::explain(report::read_run(options.output_dir), options.case_name, region_words(options),
                  std::cout);
  return 0;
}

void add_output_dir(CLI::App& command, Options& options) {
  command.add_option("OUTPUT_DIR", options.output_dir, "where kavrel wrote its results")
      ->required();
}

void add_words(CLI::App& command, Options& options) {
  command.add_option("--dict-region", options.dict_region,
                     "region words of the run, if they were not those of this build");
}

void add_max_frames(CLI::App& command, Options& options) {
  command.add_option("--max-frames", options.max_frames, "frames that are shown with pictures")
      ->capture_default_str();
}

CLI::App& add_command(CLI::App& app, const std::string& name, const std::string& purpose,
                      const std::string& example, const std::function<void()>& run) {
  CLI::App& command = *app.add_subcommand(name, purpose);
  command.footer("Example: kavrel-report " + name + " " + example);
  command.callback(run);
  return command;
}

void add_html(CLI::App& app, Options& options, int& status) {
  CLI::App& html = add_command(app, "html", "One page: what was misread, and why",
                               "output/demo -o report.html", [&] { status = write_html(options); });
  add_output_dir(html, options);
  html.add_option("-o,--output", options.file,
                  "the page [OUTPUT_DIR/report.html]; - is standard output");
  add_words(html, options);
  add_max_frames(html, options);
}

void add_compare(CLI::App& app, Options& options, int& status) {
  CLI::App& compare = add_command(
      app, "compare",
      "What differs between two runs. Exit status 3 if a group that was correct no longer is",
      "output/old output/new -o diff.html", [&] { status = write_comparison(options); });
  compare.add_option("BASE_DIR", options.output_dir, "the run to compare with")->required();
  compare.add_option("NEW_DIR", options.new_dir, "the run in question")->required();
  compare.add_option("-o,--output", options.file, "a page with both runs' pictures [none]");
  compare.add_option("--allow-broken", options.allow_broken, "so many may be lost")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  compare.add_flag("--allow-removed", options.allow_removed,
                   "groups that the new run does not have are not lost");
  add_max_frames(compare, options);
}

void add_junit(CLI::App& app, Options& options, int& status) {
  CLI::App& junit = add_command(app, "junit", "One test case per group, for a build server",
                                "output/demo -o junit.xml", [&] { status = write_junit(options); });
  add_output_dir(junit, options);
  junit.add_option("-o,--output", options.file,
                   "the file [OUTPUT_DIR/junit.xml]; - is standard output");
}

void add_json(CLI::App& app, Options& options, int& status) {
  CLI::App& json =
      add_command(app, "json", "The page's figures for machines",
                  "output/demo | jq .groups.accuracy", [&] { status = write_json(options); });
  add_output_dir(json, options);
  json.add_option("-o,--output", options.file, "the file [standard output]");
  add_words(json, options);
}

void add_explain(CLI::App& app, Options& options, int& status) {
  CLI::App& why = add_command(app, "explain", "The votes that decided a case's four fields",
                              "output/demo car05_f02", [&] { status = explain(options); });
  add_output_dir(why, options);
  why.add_option("CASE", options.case_name, "its directory in cases/, or its image path")
      ->required();
  add_words(why, options);
}

int run(int argc, char** argv) {
  Options options;
  int status = 0;
  CLI::App app("Reports on what a run of kavrel left in its output directory.", "kavrel-report");
  // None is let through here, so that a mistyped one is named by the error.
  app.require_subcommand(0, 1);
  app.set_version_flag("--version", std::string(report::resources::kVersion));
  for (const auto& add : {add_html, add_compare, add_junit, add_json, add_explain}) {
    add(app, options, status);
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  }
  if (app.get_subcommands().empty()) throw std::runtime_error("no command; --help lists them");
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  // What OpenCV finds wrong with a picture is said on the page.
  cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    kavrel::log_line("[ERROR] " + report::printable(error.what()));
    return kExitFailure;
  }
}
