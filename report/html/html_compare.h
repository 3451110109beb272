#ifndef KAVREL_REPORT_HTML_HTML_COMPARE_H
#define KAVREL_REPORT_HTML_HTML_COMPARE_H

#include <string>

#include "report/assessment/compare.h"

namespace kavrel::report {

// One HTML page that needs nothing else. `verdict`: the sentence below the figures. `max_frames`:
// how many frames are shown with pictures.
std::string render_comparison(const ComparedRuns& runs, const std::string& verdict,
                              std::size_t max_frames);

}  // namespace kavrel::report

#endif
