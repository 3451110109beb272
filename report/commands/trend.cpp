#include <memory>
#include <vector>

#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/html/html_trend.h"

namespace kavrel::report {
namespace {

struct TrendOptions : SharedOptions {
  std::vector<std::string> runs;
};

void write_trend(const TrendOptions& options) {
  std::vector<TrendRun> runs;
  for (const std::string& dir : options.runs) {
    RecordedRun run = read_shown(dir);
    Assessment assessment = assess(run, options);
    runs.push_back({std::move(run), std::move(assessment)});
  }
  write_page(options.file, render_trend(runs), options.separate_files);
}

}  // namespace

void add_trend(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<TrendOptions>();
  CLI::App& command = add_command(app, "trend", "One page: the accuracy of several runs",
                                  "output/1.0 output/1.1 output/1.2 -o trend.html",
                                  [options] { write_trend(*options); });
  require(add_texts(command, "RUN", options->runs, "output directories, in their order"));
  require(add_text(command, "-o,--output", options->file, "the page; - is standard output"));
  add_words(command, *options);
  add_separate_files(command, *options);
}

}  // namespace kavrel::report
