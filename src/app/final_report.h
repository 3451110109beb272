// The end of a run: its groups, its totals and its exit status.
#ifndef KAVREL_APP_FINAL_REPORT_H
#define KAVREL_APP_FINAL_REPORT_H

#include <vector>

#include "app/args.h"
#include "reading/frame_result.h"
#include "reading/status.h"

namespace kavrel {

// A run whose cases are all finished.
struct FinishedRun {
  const Args& args;
  bool use_plate_det;
  std::vector<FrameResult> frames;  // in case order
  StatusCounts frame_counts;
};

// Votes the frames of every group, writes summary.csv (one row per group, in byte order of the
// group ids) and FINAL_RESULT.json, and prints the FINAL_RESULT block to standard output. Returns
// the exit status: 2 if args.fail_on_error is set and a group is not "correct", else 0.
int report_run(FinishedRun run);

}  // namespace kavrel

#endif
