// One plate, of a frame or of a group, against what was expected.
#ifndef KAVREL_REPORT_ASSESSMENT_JUDGEMENT_H
#define KAVREL_REPORT_ASSESSMENT_JUDGEMENT_H

#include <array>
#include <optional>
#include <string>

#include "report/base/fields.h"

namespace kavrel::report {

enum class Outcome {
  kCorrect,
  kMisread,
  kNotRead,     // nothing was read where something was expected
  kUnlabelled,  // nothing was expected
};

// "correct", "misread", "not read" or "unlabelled".
const char* name_of(Outcome outcome);

struct FieldJudgement {
  Outcome outcome;
  std::string expected;
  std::string read;
};

using FieldJudgements = std::array<FieldJudgement, kFields.size()>;

struct PlateJudgement {
  Outcome outcome;
  std::string expected;  // without blanks, as `read`
  std::string read;
  std::optional<FieldJudgements> fields;  // none if the expected text is not that of four fields
};

// By the status rule of a run: the plate is correct if it equals the expected text but for blanks.
PlateJudgement judge_plate(const std::string& expected, const PlateFields& read);

}  // namespace kavrel::report

#endif
