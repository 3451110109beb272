#include "reading/plate_text.h"

#include <algorithm>
#include <iterator>

#include "app/base/text.h"

namespace kavrel {

std::vector<std::string> extract_digit_runs(const std::string& text) {
  std::vector<std::string> runs;
  std::string run;
  for (const char byte : text) {
    if (is_ascii_digit(byte) || (byte == '-' && !run.empty())) {
      run += byte;
    } else if (byte != '-' && !run.empty()) {
      runs.push_back(run);
      run.clear();
    }
  }
  if (!run.empty()) runs.push_back(run);
  return runs;
}

std::string digits_only(const std::string& text) {
  std::string digits;
  std::copy_if(text.begin(), text.end(), std::back_inserter(digits), is_ascii_digit);
  return digits;
}

std::string format_serial(const std::string& text) {
  std::string digits = digits_only(text);
  if (digits.size() != 4) return digits;
  return digits.substr(0, 2) + "-" + digits.substr(2);
}

std::string normalize_plate_text(const std::string& text) { return remove_spaces(text); }

}  // namespace kavrel
