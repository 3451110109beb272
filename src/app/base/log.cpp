#include "app/base/log.h"

#include <iostream>

namespace kavrel {

void log_line(const std::string& line) { std::cerr << line + "\n"; }

}  // namespace kavrel
