// The figures of many plates.
#ifndef KAVREL_REPORT_ASSESSMENT_SCORE_H
#define KAVREL_REPORT_ASSESSMENT_SCORE_H

#include <array>
#include <cstdint>
#include <optional>

#include "report/assessment/judgement.h"
#include "report/base/statistics.h"

namespace kavrel::report {

struct OutcomeCounts {
  int correct = 0;
  int misread = 0;
  int not_read = 0;

  void add(Outcome outcome);  // an unlabelled plate counts nowhere
  int total() const { return correct + misread + not_read; }
  Share share() const { return {correct, total()}; }
};

struct Score {
  OutcomeCounts plates;  // with an expected text
  int unlabelled = 0;
  // Plates whose expected text is that of four fields.
  std::array<OutcomeCounts, kFields.size()> fields;
  // Character error rate, over plates whose expected text has a character that is no blank.
  int rated = 0;
  std::int64_t edits = 0;
  std::int64_t characters = 0;  // expected ones
  double sum_of_rates = 0;      // of each plate's edits per expected character

  void add(const PlateJudgement& plate);
  std::optional<double> micro_error_rate() const;  // edits / characters
  std::optional<double> macro_error_rate() const;  // mean of the plates' rates
};

}  // namespace kavrel::report

#endif
