#include <memory>

#include "report/assessment/slices.h"
#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/html/html_report.h"

namespace kavrel::report {
namespace {

void write_html(const SharedOptions& options) {
  const RecordedRun run = read_shown(options.output_dir);
  const std::vector<std::string> words = region_words(options);
  const std::string words_name = options.dict_region.empty()
                                     ? "the region words that kavrel-report was built with"
                                     : "the region words of " + options.dict_region;
  const Assessment assessment = assess(run, options);
  const Slices slices = slice_run(run, assessment, options.list);
  const std::string page =
      render_report({run, assessment, words}, words_name, options.max_frames, slices);
  write_page(file_or(options, "report.html"), page, options.separate_files);
}

}  // namespace

void add_html(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<SharedOptions>();
  CLI::App& command =
      add_command(app, "html", "One page: what was misread, and why", "output/demo -o report.html",
                  [options] { write_html(*options); });
  add_output_dir(command, *options);
  add_text(command, "-o,--output", options->file,
           "the page [OUTPUT_DIR/report.html]; - is standard output");
  add_words(command, *options);
  add_list_of_run(command, *options);
  add_truth(command, *options);
  add_max_frames(command, *options);
  add_separate_files(command, *options);
}

}  // namespace kavrel::report
