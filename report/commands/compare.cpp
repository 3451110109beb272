#include "report/assessment/compare.h"

#include <iostream>
#include <memory>

#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/html/html_compare.h"
#include "report/text/text_compare.h"

namespace kavrel::report {
namespace {

struct CompareOptions : SharedOptions {
  std::string base_dir;
  int allow_broken = 0;
  bool allow_removed = false;
};

int compare(const CompareOptions& options) {
  refuse_the_same(options.base_dir, options.output_dir);
  const RecordedRun base = read_run(options.base_dir);
  const RecordedRun fresh = read_run(options.output_dir);
  const Assessment base_assessment = assess(base, built_in_words());
  const Assessment fresh_assessment = assess(fresh, built_in_words());
  const Comparison comparison = compare_runs(base, base_assessment, fresh, fresh_assessment);
  const ComparedRuns runs{base, base_assessment, fresh, fresh_assessment, comparison};
  const std::string verdict = verdict_on(runs, options.allow_removed);
  print_comparison(runs, std::cout);
  std::cout << verdict << std::endl;
  if (!options.file.empty()) {
    write_page(options.file, render_comparison(runs, verdict, options.max_frames),
               options.separate_files);
  }
  if (!are_comparable(runs)) return kExitRefused;
  const int lost = count_lost(comparison, options.allow_removed);
  return lost > options.allow_broken ? kExitRefused : 0;
}

}  // namespace

void add_compare(CLI::App& app, int& status) {
  const auto options = std::make_shared<CompareOptions>();
  CLI::App& command = add_command(
      app, "compare",
      "What differs between two runs. Exit status 3 if a group that was correct no longer is",
      "output/old output/new -o diff.html", [options, &status] { status = compare(*options); });
  require(add_text(command, "BASE_DIR", options->base_dir, "the run to compare with"));
  require(add_text(command, "NEW_DIR", options->output_dir, "the run in question"));
  add_text(command, "-o,--output", options->file, "a page with both runs' pictures [none]");
  add_count(command, "--allow-broken", options->allow_broken, "so many may be lost");
  add_flag(command, "--allow-removed", options->allow_removed,
           "groups that the new run does not have are not lost");
  add_max_frames(command, *options);
  add_separate_files(command, *options);
}

}  // namespace kavrel::report
