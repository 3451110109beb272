// Whether an output directory holds one whole run. A run ignores what it cannot write: where the
// disk was full, files are empty, cut or missing although its exit status was 0.
#ifndef KAVREL_APP_BASE_WHOLE_RUN_H
#define KAVREL_APP_BASE_WHOLE_RUN_H

#include <string>
#include <vector>

#include "app/base/case_list.h"
#include "app/base/run_totals.h"

namespace kavrel {

enum class RunFaultKind {
  kAborted,  // a file that a run writes at its end is missing
  kCut,      // a file is empty, cut, damaged or edited
  kMixed,    // files are those of different runs or lists
};

struct RunFault {
  RunFaultKind kind;
  std::string text;  // a sentence without its full stop
};

struct RunCheck {
  RunTotals totals;              // those of FINAL_RESULT.json, if it is whole
  std::vector<RunFault> faults;  // without any, the run is whole
};

enum class RunDepth {
  kTables,  // for a copy of a run that leaves cases/ out
  kAll,
};

// Holds the tables, the totals and the files of all cases in `dir` against each other and, if it is
// given, against the list that the run read: its rows in their order, its groups with their first
// expected text and their number of frames, result.txt and result.json to the byte, pictures that
// end as JPEG files do, and nothing in cases/ that is of no row. Nothing is voted on again.
RunCheck check_whole_run(const std::string& dir, const std::vector<CaseItem>* list,
                         RunDepth depth = RunDepth::kAll);

}  // namespace kavrel

#endif
