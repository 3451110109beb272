#ifndef KAVREL_REPORT_BASE_WORDING_H
#define KAVREL_REPORT_BASE_WORDING_H

#include <string>

namespace kavrel::report {

// "1 frame", "3 frames": of a word whose plural takes an s.
template <typename Number>
std::string count_of(Number count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace kavrel::report

#endif
