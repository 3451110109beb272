#ifndef KAVREL_REPORT_COMMANDS_OUTPUT_FILE_H
#define KAVREL_REPORT_COMMANDS_OUTPUT_FILE_H

#include <functional>
#include <ostream>
#include <string>

namespace kavrel::report {

using Writer = std::function<void(std::ostream&)>;

// Writes a file and says so; "-" is standard output. Throws std::runtime_error
// "failed to write: " + path.
void write_file(const std::string& path, const Writer& write);

// A page in one file, or with its style and pictures in a folder beside it, which is named as the
// page with "_files".
void write_page(const std::string& path, const std::string& page, bool separate_files);

}  // namespace kavrel::report

#endif
