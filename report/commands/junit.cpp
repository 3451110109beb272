#include "report/text/junit.h"

#include <memory>

#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"

namespace kavrel::report {
namespace {

void write_test_cases(const SharedOptions& options) {
  const RecordedRun run = read_run(options.output_dir);
  const Assessment assessment = assess(run, built_in_words());
  write_file(file_or(options, "junit.xml"),
             [&](std::ostream& out) { write_junit(run, assessment, out); });
}

}  // namespace

void add_junit(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<SharedOptions>();
  CLI::App& command =
      add_command(app, "junit", "One test case per group, for a build server",
                  "output/demo -o junit.xml", [options] { write_test_cases(*options); });
  add_output_dir(command, *options);
  add_text(command, "-o,--output", options->file,
           "the file [OUTPUT_DIR/junit.xml]; - is standard output");
}

}  // namespace kavrel::report
