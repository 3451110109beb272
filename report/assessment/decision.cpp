#include "report/assessment/decision.h"

#include <algorithm>

namespace kavrel::report {

FrameDecision decide_frame(const FrameResult& frame, const std::vector<std::string>& region_words) {
  FrameDecision decision;
  decision.plate = decide_plate(frame.ocr_texts, region_words);
  PlateFields fields = decision.plate.fields;
  decision.kana_from_fallback = fields.kana.empty() && !frame.fields.kana.empty();
  if (decision.kana_from_fallback) fields.kana = frame.fields.kana;
  decision.as_recorded = std::all_of(kFields.begin(), kFields.end(), [&](const Field& field) {
    return fields.*field.value == frame.fields.*field.value;
  });
  return decision;
}

bool has_no_vote(const FrameDecision& decision) {
  return std::all_of(kFields.begin(), kFields.end(), [&](const Field& field) {
    return (decision.plate.totals.*field.votes).empty();
  });
}

int votes_for(const FieldTallies& tallies, const Field& field, const std::string& value) {
  const Tally& tally = tallies.*field.votes;
  const auto candidate = tally.find(value);
  return candidate == tally.end() ? 0 : candidate->second;
}

std::vector<Candidate> ranking(const FieldTallies& tallies, const Field& field) {
  std::vector<Candidate> candidates;
  for (const auto& [value, votes] : tallies.*field.votes) candidates.push_back({value, votes});
  std::stable_sort(candidates.begin(), candidates.end(),
                   [](const auto& a, const auto& b) { return a.votes > b.votes; });
  return candidates;
}

}  // namespace kavrel::report
