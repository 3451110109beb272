#ifndef KAVREL_REPORT_TEXT_TEXT_COMPARE_H
#define KAVREL_REPORT_TEXT_TEXT_COMPARE_H

#include <ostream>

#include "report/assessment/compare.h"

namespace kavrel::report {

// The differences as text: what is read otherwise, the totals, and one line per group that changed.
void print_comparison(const ComparedRuns& runs, std::ostream& out);

}  // namespace kavrel::report

#endif
