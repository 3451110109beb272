#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>

#include "report/commands/commands.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/list/list_check.h"
#include "report/list/list_mend.h"
#include "report/list/list_sheet.h"
#include "report/text/text_check.h"

namespace kavrel::report {
namespace {

struct CheckOptions : SharedOptions {
  bool fix = false;
};

int status_of(const ListVerdict& verdict) {
  if (verdict.count(Severity::kError) > 0) return kExitFailure;
  return verdict.count(Severity::kWarning) > 0 ? kExitRefused : 0;
}

int print_verdict_on(const std::string& path, const std::vector<std::string>& words) {
  const ListSheet sheet = read_list_sheet(path);
  const ListVerdict verdict = check_list(sheet, words);
  print_verdict(sheet, verdict, std::cout);
  return status_of(verdict);
}

void write_mended_list(const CheckOptions& options, const std::vector<std::string>& words) {
  std::error_code error;
  if (std::filesystem::equivalent(options.list, options.file, error)) {
    throw std::runtime_error("the list itself is not overwritten: " + options.file);
  }
  const MendedList mended = mend_list(read_list_sheet(options.list), words);
  print_changes(mended, std::cout);
  write_file(options.file, [&](std::ostream& out) { out << mended.text; });
}

// The list as it is, or what is left to say of the mended one.
int check(const CheckOptions& options) {
  const std::vector<std::string> words = region_words(options);
  if (!options.fix) return print_verdict_on(options.list, words);
  write_mended_list(options, words);
  return print_verdict_on(options.file, words);
}

}  // namespace

void add_check(CLI::App& app, int& status) {
  const auto options = std::make_shared<CheckOptions>();
  CLI::App& command =
      add_command(app, "check",
                  "What is wrong with a case list, before it is run. Exit status 1 for errors, 3 "
                  "for warnings alone",
                  "list.csv --fix -o new.csv", [options, &status] { status = check(*options); });
  require(add_text(command, "LIST", options->list, "the case list"));
  CLI::Option& output = add_text(command, "-o,--output", options->file, "the mended list of --fix");
  CLI::Option& fix = add_flag(command, "--fix", options->fix,
                              "write the list as kavrel reads it, and tell every change");
  let_need(fix, output);
  let_need(output, fix);
  add_words(command, *options);
}

}  // namespace kavrel::report
