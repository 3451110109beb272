// The figures of a run by what else its list says of the cases: camera, weather, time of day.
#ifndef KAVREL_REPORT_ASSESSMENT_SLICES_H
#define KAVREL_REPORT_ASSESSMENT_SLICES_H

#include <string>
#include <vector>

#include "report/assessment/assessment.h"
#include "report/run/run.h"

namespace kavrel::report {

struct SliceValue {
  std::string value;     // "" where the list says nothing
  OutcomeCounts groups;  // those whose frames all have this value
  OutcomeCounts frames;
};

struct Slice {
  std::string column;
  std::vector<SliceValue> values;  // in byte order
  int mixed_groups = 0;            // labelled ones whose frames have several values
};

struct Slices {
  std::vector<Slice> columns;  // those that kavrel does not read, in the list's order
  std::string list;            // where they come from; "" without a list
  std::string remark;          // why there are none, or not all; "" if there is nothing to say
};

// `list_path`: of the run's list; "" takes the one that the run's log names. A row belongs to the
// frame of the same picture and group. A column of more than 30 values is no class of cases, and is
// left out.
Slices slice_run(const RecordedRun& run, const Assessment& assessment,
                 const std::string& list_path);

}  // namespace kavrel::report

#endif
