#ifndef KAVREL_REPORT_HTML_HTML_CAUSES_H
#define KAVREL_REPORT_HTML_HTML_CAUSES_H

#include "report/assessment/assessment.h"
#include "report/html/html_page.h"

namespace kavrel::report {

// The causes that the run has, those of most frames first, each with its frames: the picture of
// the stage that failed beside the plate, until `max_frames` are shown.
View cause_views(const AssessedRun& assessed, std::size_t max_frames);

}  // namespace kavrel::report

#endif
