#include "report/assessment/judgement.h"

#include "app/base/output_format.h"
#include "reading/plate_text.h"
#include "reading/status.h"

namespace kavrel::report {
namespace {

FieldJudgements judge_fields(const PlateFields& expected, const PlateFields& read) {
  FieldJudgements judgements;
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    FieldJudgement& field = judgements[i];
    field.expected = expected.*kFields[i].value;
    field.read = normalize_plate_text(read.*kFields[i].value);
    field.outcome = field.read == field.expected ? Outcome::kCorrect
                    : field.read.empty()         ? Outcome::kNotRead
                                                 : Outcome::kMisread;
  }
  return judgements;
}

}  // namespace

const char* name_of(Outcome outcome) {
  switch (outcome) {
    case Outcome::kCorrect:
      return "correct";
    case Outcome::kMisread:
      return "misread";
    case Outcome::kNotRead:
      return "not read";
    case Outcome::kUnlabelled:
      break;
  }
  return "unlabelled";
}

PlateJudgement judge_plate(const std::string& expected, const PlateFields& read) {
  const std::string status = plate_status(expected, read.final_plate_number);
  PlateJudgement plate;
  plate.expected = normalize_plate_text(expected);
  plate.read = normalize_plate_text(read.final_plate_number);
  plate.outcome = status == output::status::kUnknown   ? Outcome::kUnlabelled
                  : status == output::status::kCorrect ? Outcome::kCorrect
                  : plate.read.empty()                 ? Outcome::kNotRead
                                                       : Outcome::kMisread;
  if (plate.outcome == Outcome::kUnlabelled) return plate;
  if (const auto fields = split_plate_number(expected)) plate.fields = judge_fields(*fields, read);
  return plate;
}

}  // namespace kavrel::report
