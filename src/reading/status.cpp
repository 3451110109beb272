#include "reading/status.h"

#include "reading/plate_text.h"

namespace kavrel {

std::string plate_status(const std::string& expected, const std::string& final_plate_number) {
  if (expected.empty()) return "unknown";
  const bool equal = normalize_plate_text(expected) == normalize_plate_text(final_plate_number);
  return equal ? "correct" : "check";
}

void StatusCounts::add(const std::string& status) {
  if (status == "correct") {
    ++correct;
  } else {
    ++check_or_failed;
  }
}

}  // namespace kavrel
