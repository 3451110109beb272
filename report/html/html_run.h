// Sections that say what was run, and how it did by the list's other columns.
#ifndef KAVREL_REPORT_HTML_HTML_RUN_H
#define KAVREL_REPORT_HTML_HTML_RUN_H

#include <string>

#include "report/assessment/slices.h"
#include "report/run/run.h"

namespace kavrel::report {

// `name`: of the run, where a page has several; "" where it has one.
std::string render_run_facts(const RecordedRun& run, const std::string& name);

// "" where there are none.
std::string render_slices(const Slices& slices);

}  // namespace kavrel::report

#endif
