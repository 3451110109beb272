#include <filesystem>
#include <memory>

#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/html/html_gallery.h"

namespace kavrel::report {
namespace {

namespace fs = std::filesystem;

// The way from the page's folder to the output directory; that of standard output is unknown, and
// taken for the output directory.
std::string way_to_run(const SharedOptions& options) {
  if (options.file.empty() || options.file == "-") return "";
  const fs::path folder = fs::absolute(options.file).parent_path();
  const fs::path way = fs::proximate(fs::absolute(options.output_dir), folder);
  return way == "." ? "" : way.string() + "/";
}

void write_gallery(const SharedOptions& options) {
  const RecordedRun run = read_shown(options.output_dir);
  const Assessment assessment = assess(run, options);
  write_file(file_or(options, "gallery.html"), [&](std::ostream& out) {
    out << render_gallery(run, assessment, way_to_run(options));
  });
}

}  // namespace

void add_gallery(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<SharedOptions>();
  CLI::App& command =
      add_command(app, "gallery", "One page with every plate, also those that are correct",
                  "output/demo", [options] { write_gallery(*options); });
  add_output_dir(command, *options);
  add_text(command, "-o,--output", options->file,
           "the page [OUTPUT_DIR/gallery.html]; - is standard output");
  add_words(command, *options);
  add_truth(command, *options);
}

}  // namespace kavrel::report
