// Two runs over the same cases.
#ifndef KAVREL_REPORT_ASSESSMENT_COMPARE_H
#define KAVREL_REPORT_ASSESSMENT_COMPARE_H

#include <optional>
#include <string>
#include <vector>

#include "report/assessment/assessment.h"
#include "report/run/run.h"

namespace kavrel::report {

// From what an engineer wants to see first to what stays as it is.
enum class Change {
  kBroken,           // was correct, no longer is
  kRemoved,          // in the base run only
  kFixed,            // was not correct, now is
  kStillNotCorrect,  // read otherwise than before, not correct either time
  kAdded,            // in the new run only
  kSameNotCorrect,   // read as before, not correct
  kSameCorrect,
};

// The two sides of a group or of a frame: where it stands in each run.
struct ChangedItem {
  Change change;
  std::optional<std::size_t> base;
  std::optional<std::size_t> fresh;
};

struct ItemChanges {
  std::vector<ChangedItem> items;  // those of the base run in its order, then the added ones
  // Of items with the same expected text in both runs: what McNemar's test is about. A label that
  // was corrected makes no network better.
  int like_labelled_fixed = 0;
  int like_labelled_broken = 0;

  int count(Change change) const;
};

struct Comparison {
  ItemChanges groups;
  ItemChanges frames;
  int removed_correct = 0;  // groups that were correct in the base run, and are not in the new one
  int shared_groups = 0;    // those of both runs
  int relabelled = 0;       // shared groups whose expected text is not the same in both runs
};

// Two runs, what was made of them, and what differs.
struct ComparedRuns {
  const RecordedRun& base;
  const Assessment& base_assessment;
  const RecordedRun& fresh;
  const Assessment& fresh_assessment;
  const Comparison& comparison;
};

// Groups are the same by their id. Frames are the same by group and case name, so that runs from
// different folders can be compared; frames that share both are paired in their order.
Comparison compare_runs(const RecordedRun& base, const Assessment& base_assessment,
                        const RecordedRun& fresh, const Assessment& fresh_assessment);

// How many groups that were correct no longer are. One that the new run does not have counts too,
// unless `allow_removed`: an aborted run must not pass for a good one.
int count_lost(const Comparison& comparison, bool allow_removed);

// Whether the runs expect the same plate of some group. Where they do not, their lists have nothing
// in common but the names of groups.
bool share_labels(const Comparison& comparison);

// Whether both runs are whole and labelled, and share labels, so that a verdict can rest on them.
bool are_comparable(const ComparedRuns& runs);

// What each run says of itself, and whether labels changed between them, in sentences.
std::vector<std::string> notices_on(const ComparedRuns& runs);

// What count_lost() found, in a sentence, and what stands against a verdict.
std::string verdict_on(const ComparedRuns& runs, bool allow_removed);

// "broken", "fixed", ...
const char* name_of(Change change);

// Whether the two runs differ in the item.
bool is_change(Change change);

}  // namespace kavrel::report

#endif
