#include <CLI/CLI.hpp>
#include <algorithm>
#include <opencv2/core/utils/logger.hpp>
#include <stdexcept>

#include "app/base/log.h"
#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/commands/commands.h"
#include "report/commands/shared_options.h"

namespace {

namespace report = kavrel::report;

// In the order of the help: the way from pictures to a release, then what machines read.
constexpr auto kCommands = {report::add_list,    report::add_label,   report::add_check,
                            report::add_html,    report::add_gallery, report::add_misread,
                            report::add_compare, report::add_gate,    report::add_trend,
                            report::add_junit,   report::add_json,    report::add_explain};

// The parser would take it, and all that follows, for arguments that it did not expect.
void refuse_unknown_command(const CLI::App& app, int argc, char** argv) {
  if (argc < 2 || argv[1][0] == '-') return;
  const auto is_named = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
  if (!app.get_subcommands(is_named).empty()) return;
  throw std::runtime_error(std::string("no command ") + argv[1] + "; --help lists them");
}

// The parser would tell all of them, from the last to the first.
std::string complaint_about_extras(const CLI::App& app) {
  const CLI::App* command = app.get_subcommands().empty() ? &app : app.get_subcommands().front();
  const std::vector<std::string> extras = app.remaining(true);
  const auto option = std::find_if(extras.begin(), extras.end(),
                                   [](const std::string& text) { return text[0] == '-'; });
  if (option == extras.end()) return "one argument too many: " + extras.front();
  return "no option " + *option + " of " + command->get_name() + "; --help lists them";
}

int run(int argc, char** argv) {
  int status = 0;
  CLI::App app("Reports on what a run of kavrel left in its output directory.", "kavrel-report");
  // None is let through here, so that a mistyped one is named by the error.
  app.require_subcommand(0, 1);
  app.set_version_flag("--version", std::string(report::resources::kVersion));
  for (const auto& add : kCommands) add(app, status);
  refuse_unknown_command(app, argc, argv);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::ExtrasError&) {
    throw std::runtime_error(complaint_about_extras(app));
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
    return report::kExitFailure;
  }
}
