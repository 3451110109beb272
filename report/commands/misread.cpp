#include "report/text/misread.h"

#include <memory>

#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"

namespace kavrel::report {
namespace {

void write_rows(const SharedOptions& options) {
  const RecordedRun run = read_shown(options.output_dir);
  const Assessment assessment = assess(run, options);
  write_file(file_or_output(options),
             [&](std::ostream& out) { write_misread(run, assessment, out); });
}

}  // namespace

void add_misread(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<SharedOptions>();
  CLI::App& command =
      add_command(app, "misread", "A CSV row for each frame that is not correct: stage and cause",
                  "output/demo -o misread.csv", [options] { write_rows(*options); });
  add_output_dir(command, *options);
  add_text(command, "-o,--output", options->file, "the file [standard output]");
  add_words(command, *options);
  add_truth(command, *options);
}

}  // namespace kavrel::report
