#ifndef KAVREL_REPORT_HTML_HTML_GALLERY_H
#define KAVREL_REPORT_HTML_HTML_GALLERY_H

#include <string>

#include "report/assessment/assessment.h"
#include "report/run/run.h"

namespace kavrel::report {

// Every plate of the run, also the correct ones, as a page that shows the pictures of cases/ and
// links to its folders. `to_run`: the way from the page's folder to the output directory, "" or
// with a slash at its end.
std::string render_gallery(const RecordedRun& run, const Assessment& assessment,
                           const std::string& to_run);

}  // namespace kavrel::report

#endif
