#ifndef KAVREL_APP_BASE_LOG_H
#define KAVREL_APP_BASE_LOG_H

#include <string>

namespace kavrel {

// Writes `line` and a newline to standard error in one piece.
void log_line(const std::string& line);

}  // namespace kavrel

#endif
