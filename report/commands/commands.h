// The commands of kavrel-report. Each adds itself and its options to the parser; once it has run,
// status is what the program ends with. They throw what the program ends with as an "[ERROR]" line.
#ifndef KAVREL_REPORT_COMMANDS_COMMANDS_H
#define KAVREL_REPORT_COMMANDS_COMMANDS_H

namespace CLI {
class App;
}

namespace kavrel::report {

void add_check(CLI::App& app, int& status);
void add_compare(CLI::App& app, int& status);
void add_explain(CLI::App& app, int& status);
void add_gallery(CLI::App& app, int& status);
void add_gate(CLI::App& app, int& status);
void add_html(CLI::App& app, int& status);
void add_json(CLI::App& app, int& status);
void add_junit(CLI::App& app, int& status);
void add_label(CLI::App& app, int& status);
void add_list(CLI::App& app, int& status);
void add_misread(CLI::App& app, int& status);
void add_trend(CLI::App& app, int& status);

}  // namespace kavrel::report

#endif
