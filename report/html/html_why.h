#ifndef KAVREL_REPORT_HTML_HTML_WHY_H
#define KAVREL_REPORT_HTML_HTML_WHY_H

#include "report/assessment/assessment.h"
#include "report/html/html_page.h"

namespace kavrel::report {

// Of each field of the group that is not correct: what its frames read, what their readings voted
// for, and the cause.
View why_views(const PlateJudgement& plate, const Group& group, const AssessedRun& assessed);

}  // namespace kavrel::report

#endif
