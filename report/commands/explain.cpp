#include "report/text/explain.h"

#include <iostream>
#include <memory>

#include "report/commands/commands.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"

namespace kavrel::report {
namespace {

struct ExplainOptions : SharedOptions {
  std::string case_name;
};

void explain_case(const ExplainOptions& options) {
  explain(read_shown(options.output_dir), options.case_name, region_words(options), std::cout);
}

}  // namespace

void add_explain(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<ExplainOptions>();
  CLI::App& command = add_command(app, "explain", "The votes that decided a case's four fields",
                                  "output/demo car05_f02", [options] { explain_case(*options); });
  add_output_dir(command, *options);
  require(
      add_text(command, "CASE", options->case_name, "its directory in cases/, or its image path"));
  add_words(command, *options);
}

}  // namespace kavrel::report
