#include "report/commands/parser.h"

#include <CLI/CLI.hpp>

namespace kavrel::report {
namespace {

// The message of a validator of CLI11's would end in the largest number that there is.
std::string complaint_about_count(const std::string& text) {
  const bool is_count =
      !text.empty() && text.size() < 9 && text.find_first_not_of("0123456789") == std::string::npos;
  return is_count ? "" : text + " is no count";
}

// As a script's variable is that was not set: the option must not pass for one that is missing.
std::string complaint_about_text(const std::string& text) { return text.empty() ? "is empty" : ""; }

template <typename Count>
CLI::Option& add_any_count(CLI::App& command, const std::string& name, Count& count,
                           const std::string& help) {
  return *command.add_option(name, count, help)
              ->capture_default_str()
              ->check(complaint_about_count);
}

}  // namespace

CLI::App& add_command(CLI::App& app, const std::string& name, const std::string& purpose,
                      const std::string& example, const std::function<void()>& run) {
  CLI::App& command = *app.add_subcommand(name, purpose);
  command.footer("Example: kavrel-report " + name + " " + example);
  command.callback(run);
  return command;
}

CLI::Option& add_text(CLI::App& command, const std::string& name, std::string& text,
                      const std::string& help) {
  return *command.add_option(name, text, help)->check(complaint_about_text);
}

CLI::Option& add_texts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
                       const std::string& help) {
  return *command.add_option(name, texts, help)->check(complaint_about_text);
}

CLI::Option& add_count(CLI::App& command, const std::string& name, int& count,
                       const std::string& help) {
  return add_any_count(command, name, count, help);
}

CLI::Option& add_count(CLI::App& command, const std::string& name, std::size_t& count,
                       const std::string& help) {
  return add_any_count(command, name, count, help);
}

CLI::Option& add_flag(CLI::App& command, const std::string& name, bool& flag,
                      const std::string& help) {
  return *command.add_flag(name, flag, help);
}

void require(CLI::Option& option) { option.required(); }

void limit_to(const std::vector<std::string>& texts, CLI::Option& option) {
  option.check(CLI::IsMember(texts));
}

void let_need(CLI::Option& option, CLI::Option& other) { option.needs(&other); }

void let_exclude(CLI::Option& option, CLI::Option& other) { option.excludes(&other); }

}  // namespace kavrel::report
