#include "report/assessment/cause.h"

#include <algorithm>
#include <map>
#include <set>

#include "reading/plate_text.h"

namespace kavrel::report {
namespace {

constexpr std::size_t kClassNo = 1;  // in kFields
constexpr std::size_t kSerial = 3;
static_assert(kFields[kClassNo].value == &PlateFields::class_no);
static_assert(kFields[kSerial].value == &PlateFields::serial);

const std::string& value_of(const PlateFields& fields, std::size_t field) {
  return fields.*kFields[field].value;
}

// Three digits vote for the class number and, less, for the serial: where one of them was not
// read, the other's number stands in both, or in its place.
bool is_of_other_row(std::size_t field, const PlateFields& expected, const PlateFields& read) {
  if (field != kClassNo && field != kSerial) return false;
  const std::size_t other = field == kClassNo ? kSerial : kClassNo;
  const std::string& value = value_of(read, field);
  return !value.empty() && (value == value_of(read, other) || value == value_of(expected, other));
}

Cause cause_by_votes(std::size_t field, const std::string& expected, const std::string& read,
                     const FieldTallies& totals) {
  const int right = votes_for(totals, kFields[field], expected);
  const int taken = votes_for(totals, kFields[field], read);
  if (right == 0) return Cause::kNotRead;
  if (right < taken) return Cause::kOutvoted;
  return right == taken ? Cause::kTie : Cause::kUntold;
}

FieldCause cause_of_field(std::size_t field, const PlateFields& expected, const PlateFields& read,
                          const FrameDecision& decision) {
  if (field == kKana && decision.kana_from_fallback) return {Cause::kKanaSearch, true};
  if (is_of_other_row(field, expected, read)) return {Cause::kOtherRow, true};
  return {cause_by_votes(field, value_of(expected, field), value_of(read, field),
                         decision.plate.totals),
          false};
}

std::string plate_of(const std::string& expected, const std::vector<std::string>& region_words) {
  const Label label = read_label(expected, region_words);
  return label.plate ? label.plate->final_plate_number : normalize_plate_text(expected);
}

}  // namespace

const CauseEntry& entry_of(Cause cause) { return kCauses[static_cast<std::size_t>(cause)]; }

FieldCauses field_causes(const Label& label, const PlateFields& read,
                         const FrameDecision& decision) {
  FieldCauses causes;
  for (std::size_t i = 0; label.plate && i < causes.size(); ++i) {
    if (value_of(*label.plate, i) == value_of(read, i)) continue;
    causes[i] = cause_of_field(i, *label.plate, read, decision);
  }
  return causes;
}

Cause cause_of_frame(const Label& label, const PlaceFinding& place, const FieldCauses& fields) {
  if (label.is_out_of_reach()) return Cause::kOutOfReach;
  if (!label.as_kavrel_writes) return Cause::kLabel;
  if (place.whole_picture) return Cause::kNoPlate;
  if (place.box == Finding::kSuspect || place.box == Finding::kWrong) return Cause::kBoxBeside;
  if (place.corners == Finding::kSuspect || place.corners == Finding::kWrong) {
    return Cause::kCorners;
  }
  Cause first = Cause::kUntold;
  for (const auto& field : fields) {
    if (field) first = std::min(first, field->cause);
  }
  return first;
}

bool has_two_labels(const RecordedRun& run, const Group& group,
                    const std::vector<std::string>& region_words) {
  std::set<std::string> texts;
  for (const std::size_t i : group.frames) texts.insert(run.frames[i].expected);
  texts.erase("");
  if (texts.size() < 2) return false;
  std::set<std::string> plates;
  for (const std::string& text : texts) plates.insert(plate_of(text, region_words));
  return plates.size() > 1;
}

bool is_other_plate(const FieldJudgements& fields) {
  return std::all_of(fields.begin(), fields.end(), [](const FieldJudgement& field) {
    return field.outcome == Outcome::kMisread;
  });
}

Cause most_frequent(const std::vector<Cause>& causes) {
  std::map<Cause, int> counts;
  for (const Cause cause : causes) ++counts[cause];
  const auto most =
      std::max_element(counts.begin(), counts.end(),
                       [](const auto& a, const auto& b) { return a.second < b.second; });
  return most->first;
}

}  // namespace kavrel::report
