#ifndef KAVREL_REPORT_HTML_HTML_FRAME_H
#define KAVREL_REPORT_HTML_HTML_FRAME_H

#include "report/assessment/assessment.h"
#include "report/html/html_page.h"

namespace kavrel::report {

// A frame within the card of its group: its pictures, its plate, and every reading with its votes.
View frame_view(const AssessedRun& assessed, std::size_t index);

}  // namespace kavrel::report

#endif
