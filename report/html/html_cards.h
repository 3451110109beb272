// The cards of groups that are not correct.
#ifndef KAVREL_REPORT_HTML_HTML_CARDS_H
#define KAVREL_REPORT_HTML_HTML_CARDS_H

#include <string>
#include <vector>

#include "report/assessment/assessment.h"
#include "report/run/run.h"

namespace kavrel::report {

struct Cards {
  std::string html;
  int shown = 0;
  int left_out = 0;
};

// One card per group, those with an expected text first, until `max_frames` frames are shown: a
// group with more frames than are left shows the first of them, and groups after that get no card.
Cards render_cards(const RecordedRun& run, const Assessment& assessment,
                   const std::vector<std::string>& region_words, std::size_t max_frames);

}  // namespace kavrel::report

#endif
