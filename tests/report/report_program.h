#ifndef KAVREL_TESTS_REPORT_REPORT_PROGRAM_H
#define KAVREL_TESTS_REPORT_REPORT_PROGRAM_H

#include <string>
#include <vector>

namespace kavrel_test {

struct ProgramOutcome {
  int status = -1;  // exit status, or minus the signal that ended the program
  std::string out;
  std::string err;
  double cpu_seconds = 0;
  long peak_kilobytes = 0;
};

// `words`: the program, looked for in PATH, and its arguments. 127 if there is no such program.
ProgramOutcome run_program(const std::vector<std::string>& words);

// The built kavrel-report, in a working directory other than this one's if it is named.
ProgramOutcome run_report(const std::vector<std::string>& arguments, const std::string& dir = "");

// The bytes behind base64 digits.
std::string from_base64(const std::string& digits);

}  // namespace kavrel_test

#endif
