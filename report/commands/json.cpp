#include <memory>

#include "report/assessment/slices.h"
#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/text/json_report.h"

namespace kavrel::report {
namespace {

void write_figures(const SharedOptions& options) {
  const RecordedRun run = read_shown(options.output_dir);
  const Assessment assessment = assess(run, options);
  const Slices slices = slice_run(run, assessment, options.list);
  write_file(file_or_output(options),
             [&](std::ostream& out) { write_json(run, assessment, slices, out); });
}

}  // namespace

void add_json(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<SharedOptions>();
  CLI::App& command =
      add_command(app, "json", "The page's figures for machines",
                  "output/demo | jq .groups.accuracy", [options] { write_figures(*options); });
  add_output_dir(command, *options);
  add_text(command, "-o,--output", options->file, "the file [standard output]");
  add_words(command, *options);
  add_list_of_run(command, *options);
  add_truth(command, *options);
}

}  // namespace kavrel::report
