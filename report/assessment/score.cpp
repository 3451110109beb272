#include "report/assessment/score.h"

#include <algorithm>

#include "report/base/alignment.h"

namespace kavrel::report {

void OutcomeCounts::add(Outcome outcome) {
  if (outcome == Outcome::kCorrect) ++correct;
  if (outcome == Outcome::kMisread) ++misread;
  if (outcome == Outcome::kNotRead) ++not_read;
}

void Score::add(const PlateJudgement& plate) {
  plates.add(plate.outcome);
  if (plate.outcome == Outcome::kUnlabelled) {
    ++unlabelled;
    return;
  }
  if (plate.fields) {
    for (std::size_t i = 0; i < fields.size(); ++i) fields[i].add((*plate.fields)[i].outcome);
  }
  const auto pairs = align(plate.expected, plate.read);
  const auto expected = std::count_if(
      pairs.begin(), pairs.end(), [](const auto& pair) { return pair.expected != kNoCharacter; });
  if (expected == 0) return;
  const int plate_edits = count_edits(pairs);
  ++rated;
  edits += plate_edits;
  characters += expected;
  sum_of_rates += static_cast<double>(plate_edits) / static_cast<double>(expected);
}

std::optional<double> Score::micro_error_rate() const {
  if (rated == 0) return std::nullopt;
  return static_cast<double>(edits) / static_cast<double>(characters);
}

std::optional<double> Score::macro_error_rate() const {
  if (rated == 0) return std::nullopt;
  return sum_of_rates / rated;
}

}  // namespace kavrel::report
