#ifndef KAVREL_REPORT_TEXT_MISREAD_H
#define KAVREL_REPORT_TEXT_MISREAD_H

#include <ostream>

#include "report/assessment/assessment.h"
#include "report/run/run.h"

namespace kavrel::report {

// A CSV file with a row for each frame that is not correct: what was expected and read, the stage
// that failed, the cause, the fields that are wrong, the case's directory and the picture of that
// stage, "" if it is not there.
void write_misread(const RecordedRun& run, const Assessment& assessment, std::ostream& out);

}  // namespace kavrel::report

#endif
