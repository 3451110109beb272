#include "score.h"

#include "alignment.h"
#include "unicode.h"

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
  const std::u32string expected = code_points(plate.expected);
  if (expected.empty()) return;
  const int plate_edits = count_edits(align(expected, code_points(plate.read)));
  ++rated;
  edits += plate_edits;
  characters += static_cast<std::int64_t>(expected.size());
  sum_of_rates += static_cast<double>(plate_edits) / static_cast<double>(expected.size());
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
