#ifndef KAVREL_REPORT_TEXT_JSON_REPORT_H
#define KAVREL_REPORT_TEXT_JSON_REPORT_H

#include <ostream>

#include "report/assessment/assessment.h"
#include "report/assessment/slices.h"
#include "report/run/run.h"

namespace kavrel::report {

// The figures of the page for machines, as docs/report.schema.json describes them.
void write_json(const RecordedRun& run, const Assessment& assessment, const Slices& slices,
                std::ostream& out);

}  // namespace kavrel::report

#endif
