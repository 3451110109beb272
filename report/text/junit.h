#ifndef KAVREL_REPORT_TEXT_JUNIT_H
#define KAVREL_REPORT_TEXT_JUNIT_H

#include <ostream>

#include "report/assessment/assessment.h"
#include "report/run/run.h"

namespace kavrel::report {

// A test suite with one test case per group: failed if it is not read as expected, skipped if
// nothing was expected. The run's notices are its standard error.
void write_junit(const RecordedRun& run, const Assessment& assessment, std::ostream& out);

}  // namespace kavrel::report

#endif
