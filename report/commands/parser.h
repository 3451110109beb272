// The command line's parser, as the commands use it. What a command's options hold is set once the
// command runs. The parser's own header takes the compiler seconds and the form check half a minute
// for each file that includes it; few do.
#ifndef KAVREL_REPORT_COMMANDS_PARSER_H
#define KAVREL_REPORT_COMMANDS_PARSER_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kavrel::report {

CLI::App& add_command(CLI::App& app, const std::string& name, const std::string& purpose,
                      const std::string& example, const std::function<void()>& run);

// Each adds one option to a command; one without dashes is named by its place. A text is not empty,
// a count is below 10^8, and the help tells the one that it starts with.
CLI::Option& add_text(CLI::App& command, const std::string& name, std::string& text,
                      const std::string& help);
CLI::Option& add_texts(CLI::App& command, const std::string& name, std::vector<std::string>& texts,
                       const std::string& help);
CLI::Option& add_count(CLI::App& command, const std::string& name, int& count,
                       const std::string& help);
CLI::Option& add_count(CLI::App& command, const std::string& name, std::size_t& count,
                       const std::string& help);
CLI::Option& add_flag(CLI::App& command, const std::string& name, bool& flag,
                      const std::string& help);

// The command wants it.
void require(CLI::Option& option);
// Its text is one of these.
void limit_to(const std::vector<std::string>& texts, CLI::Option& option);
void let_need(CLI::Option& option, CLI::Option& other);
void let_exclude(CLI::Option& option, CLI::Option& other);

}  // namespace kavrel::report

#endif
