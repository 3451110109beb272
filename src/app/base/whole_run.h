// Whether an output directory holds one whole run. A run ignores what it cannot write: where the
// disk was full, files are empty, cut or missing although its exit status was 0.
#ifndef KAVREL_APP_BASE_WHOLE_RUN_H
#define KAVREL_APP_BASE_WHOLE_RUN_H

#include <string>
#include <vector>

#include "app/base/case_list.h"
#include "app/base/run_totals.h"

namespace kavrel {

struct RunCheck {
  RunTotals totals;                 // those of FINAL_RESULT.json
  std::vector<std::string> faults;  // one sentence each; without any, the run is whole
};

// Holds the tables, the totals and the files of all cases in `dir` against each other and, if it is
// given, against the list that the run read: its rows in their order, its groups with their first
// expected text and their number of frames, result.txt and result.json to the byte, pictures that
// end as JPEG files do, and nothing in cases/ that is of no row. Nothing is voted on again.
RunCheck check_whole_run(const std::string& dir, const std::vector<CaseItem>* list);

}  // namespace kavrel

#endif
