#include "report/assessment/compare.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "report/base/wording.h"

namespace kavrel::report {
namespace {

using Judgements = std::vector<PlateJudgement>;

Change change_between(const PlateJudgement& base, const PlateJudgement& fresh) {
  const bool was_correct = base.outcome == Outcome::kCorrect;
  const bool is_correct = fresh.outcome == Outcome::kCorrect;
  if (was_correct && is_correct) return Change::kSameCorrect;
  if (was_correct) return Change::kBroken;
  if (is_correct) return Change::kFixed;
  return base.read == fresh.read ? Change::kSameNotCorrect : Change::kStillNotCorrect;
}

void add_pair(std::size_t base_index, const PlateJudgement& base, std::size_t fresh_index,
              const PlateJudgement& fresh, ItemChanges& changes) {
  const Change change = change_between(base, fresh);
  changes.items.push_back({change, base_index, fresh_index});
  if (base.expected != fresh.expected) return;
  if (change == Change::kFixed) ++changes.like_labelled_fixed;
  if (change == Change::kBroken) ++changes.like_labelled_broken;
}

// `base_keys`, `fresh_keys`: what makes an item of one run that of the other, in the runs' order.
template <typename Key>
ItemChanges changes_between(const std::vector<Key>& base_keys, const Judgements& base,
                            const std::vector<Key>& fresh_keys, const Judgements& fresh) {
  std::map<Key, std::size_t> unmatched;
  for (std::size_t i = 0; i < fresh_keys.size(); ++i) unmatched[fresh_keys[i]] = i;
  ItemChanges changes;
  for (std::size_t i = 0; i < base_keys.size(); ++i) {
    const auto match = unmatched.find(base_keys[i]);
    if (match == unmatched.end()) {
      changes.items.push_back({Change::kRemoved, i, std::nullopt});
      continue;
    }
    add_pair(i, base[i], match->second, fresh[match->second], changes);
    unmatched.erase(match);
  }
  for (const auto& [key, i] : unmatched) changes.items.push_back({Change::kAdded, std::nullopt, i});
  return changes;
}

std::vector<std::string> group_keys(const RecordedRun& run) {
  std::vector<std::string> keys;
  for (const Group& group : run.groups) keys.push_back(group.result.group_id);
  return keys;
}

// Group, case name, and how many frames before this one had both.
using FrameKey = std::tuple<std::string, std::string, int>;

std::vector<FrameKey> frame_keys(const RecordedRun& run) {
  std::map<std::pair<std::string, std::string>, int> seen;
  std::vector<FrameKey> keys;
  for (const FrameResult& frame : run.frames) {
    const std::string name = case_name(frame);
    keys.emplace_back(frame.group_id, name, seen[{frame.group_id, name}]++);
  }
  return keys;
}

}  // namespace

int ItemChanges::count(Change change) const {
  return static_cast<int>(std::count_if(items.begin(), items.end(),
                                        [&](const auto& item) { return item.change == change; }));
}

const char* name_of(Change change) {
  switch (change) {
    case Change::kBroken:
      return "broken";
    case Change::kFixed:
      return "fixed";
    case Change::kStillNotCorrect:
      return "still not correct";
    case Change::kRemoved:
      return "removed";
    case Change::kAdded:
      return "added";
    case Change::kSameNotCorrect:
      return "not correct as before";
    case Change::kSameCorrect:
      break;
  }
  return "correct as before";
}

bool is_change(Change change) {
  return change != Change::kSameCorrect && change != Change::kSameNotCorrect;
}

Comparison compare_runs(const RecordedRun& base, const Assessment& base_assessment,
                        const RecordedRun& fresh, const Assessment& fresh_assessment) {
  Comparison comparison;
  comparison.groups = changes_between(group_keys(base), base_assessment.group_judgements,
                                      group_keys(fresh), fresh_assessment.group_judgements);
  comparison.frames = changes_between(frame_keys(base), base_assessment.frame_judgements,
                                      frame_keys(fresh), fresh_assessment.frame_judgements);
  for (const ChangedItem& item : comparison.groups.items) {
    if (!item.base) continue;
    const PlateJudgement& was = base_assessment.group_judgements[*item.base];
    if (!item.fresh) {
      if (was.outcome == Outcome::kCorrect) ++comparison.removed_correct;
      continue;
    }
    ++comparison.shared_groups;
    const PlateJudgement& is = fresh_assessment.group_judgements[*item.fresh];
    if (was.expected != is.expected) ++comparison.relabelled;
  }
  return comparison;
}

int count_lost(const Comparison& comparison, bool allow_removed) {
  return comparison.groups.count(Change::kBroken) +
         (allow_removed ? 0 : comparison.removed_correct);
}

bool share_labels(const Comparison& comparison) {
  return comparison.relabelled < comparison.shared_groups;
}

bool are_comparable(const ComparedRuns& runs) {
  return runs.base.faults.empty() && runs.fresh.faults.empty() && share_labels(runs.comparison);
}

std::vector<std::string> notices_on(const ComparedRuns& runs) {
  std::vector<std::string> notices;
  for (const std::string& notice : runs.base.notices) notices.push_back("Base: " + notice);
  for (const std::string& notice : runs.fresh.notices) notices.push_back("New: " + notice);
  if (runs.comparison.relabelled > 0) {
    notices.push_back(count_of(runs.comparison.relabelled, "group") +
                      " with another expected text in the new run.");
  }
  return notices;
}

std::string verdict_on(const ComparedRuns& runs, bool allow_removed) {
  for (const auto& [name, run] : {std::pair{"base", &runs.base}, {"new", &runs.fresh}}) {
    if (run->faults.empty()) continue;
    return std::string("No verdict: the ") + name + " run is " + run->faults.front().key + ".";
  }
  if (!share_labels(runs.comparison)) {
    return "No verdict: of no group do both runs expect the same plate.";
  }
  const int lost = count_lost(runs.comparison, allow_removed);
  if (lost == 0) return "No group that was correct in the base run is lost in the new one.";
  return "Groups that were correct in the base run and no longer are: " + std::to_string(lost) +
         ".";
}

}  // namespace kavrel::report
