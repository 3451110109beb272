#ifndef KAVREL_REPORT_HTML_HTML_TREND_H
#define KAVREL_REPORT_HTML_HTML_TREND_H

#include <string>
#include <vector>

#include "report/assessment/assessment.h"
#include "report/run/run.h"

namespace kavrel::report {

struct TrendRun {
  RecordedRun run;
  Assessment assessment;
};

// The accuracy of runs in their order, as one HTML page.
std::string render_trend(const std::vector<TrendRun>& runs);

}  // namespace kavrel::report

#endif
