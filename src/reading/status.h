// Whether a reading, of a frame or of a group, is what was expected.
#ifndef KAVREL_READING_STATUS_H
#define KAVREL_READING_STATUS_H

#include <string>

namespace kavrel {

// "unknown" without an expected text, else "correct" if normalize_plate_text makes the two plate
// numbers equal, else "check".
std::string plate_status(const std::string& expected, const std::string& final_plate_number);

// Counts of one kind of result. Whatever is not "correct" counts against the run, even a plate
// without ground truth.
struct StatusCounts {
  int correct = 0;
  int check_or_failed = 0;

  void add(const std::string& status);
};

}  // namespace kavrel

#endif
