#ifndef KAVREL_REPORT_TEXT_EXPLAIN_H
#define KAVREL_REPORT_TEXT_EXPLAIN_H

#include <ostream>
#include <string>
#include <vector>

#include "report/run/run.h"

namespace kavrel::report {

// Writes how the fields of a case were decided: the votes of each reading, their totals and what
// they led to. `name`: the case's directory in cases/ or its image path; of several such frames
// each is explained. Throws std::runtime_error if there is none.
void explain(const RecordedRun& run, const std::string& name,
             const std::vector<std::string>& region_words, std::ostream& out);

}  // namespace kavrel::report

#endif
