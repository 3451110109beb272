#ifndef KAVREL_REPORT_HTML_HTML_REPORT_H
#define KAVREL_REPORT_HTML_HTML_REPORT_H

#include <string>
#include <vector>

#include "report/assessment/assessment.h"
#include "report/assessment/slices.h"
#include "report/run/run.h"

namespace kavrel::report {

// The run as one HTML page that needs nothing else. `max_frames`: how many frames are shown with
// pictures and readings. `words_name`: where the region words come from, as the page says it.
std::string render_report(const AssessedRun& assessed, const std::string& words_name,
                          std::size_t max_frames, const Slices& slices = {});

}  // namespace kavrel::report

#endif
