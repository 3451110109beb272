#include "reading/status.h"

#include "app/base/output_format.h"
#include "reading/plate_text.h"

namespace kavrel {

std::string plate_status(const std::string& expected, const std::string& final_plate_number) {
  if (expected.empty()) return output::status::kUnknown;
  const bool equal = normalize_plate_text(expected) == normalize_plate_text(final_plate_number);
  return equal ? output::status::kCorrect : output::status::kCheck;
}

void StatusCounts::add(const std::string& status) {
  if (status == output::status::kCorrect) {
    ++correct;
  } else {
    ++check_or_failed;
  }
}

}  // namespace kavrel
