#include "report/text/json_report.h"

#include <optional>
#include <string>

#include "report/base/alignment.h"
#include "report/base/unicode.h"
#include "report/text/json_parts.h"

namespace kavrel::report {
namespace {

Json number_or_null(const std::optional<double>& number) { return number ? Json(*number) : Json(); }

Json json_of(const std::optional<Interval>& interval) {
  if (!interval) return {};
  return {{"value", interval->value}, {"low", interval->low}, {"high", interval->high}};
}

Json json_of(const std::optional<PlaceFigures>& places) {
  if (!places) return {};
  return {{"frames", places->frames},
          {"on_plate", places->on_plate},
          {"detector_recall", json_of(wilson_interval({places->on_plate, places->frames}))},
          {"box_overlap", json_of(mean_interval(places->overlaps))},
          {"corner_error", json_of(mean_interval(places->corner_errors))}};
}

Json json_of(const Score& score) {
  Json json = json_of(score.plates);
  json["unlabelled"] = score.unlabelled;
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    json["fields"][kFields[i].key] = json_of(score.fields[i]);
  }
  json["character_error_rate"] = {{"micro", number_or_null(score.micro_error_rate())},
                                  {"macro", number_or_null(score.macro_error_rate())},
                                  {"edits", score.edits},
                                  {"characters", score.characters},
                                  {"plates", score.rated}};
  return json;
}

Json character_or_null(char32_t character) {
  return character == kNoCharacter ? Json() : Json(printable(std::u32string(1, character)));
}

Json json_of(const ConfusionCounts& counts) {
  Json json = Json::array();
  for (const Confusion& confusion : most_frequent(counts)) {
    json.push_back({{"field", kFields[confusion.field].key},
                    {"expected", character_or_null(confusion.expected)},
                    {"read", character_or_null(confusion.read)},
                    {"count", confusion.count},
                    {"of", confusion.of}});
  }
  return json;
}

Json json_of_causes(const Assessment& assessment) {
  Json json = Json::array();
  for (std::size_t i = 0; i < kCauses.size(); ++i) {
    json.push_back({{"cause", kCauses[i].key},
                    {"name", kCauses[i].name},
                    {"stage", kCauses[i].stage},
                    {"advice", kCauses[i].advice},
                    {"frames", assessment.frames_by_cause[i]},
                    {"groups", assessment.groups_by_cause[i]}});
  }
  return json;
}

Json json_of_field_causes(const Assessment& assessment) {
  Json json;
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    Json& field = json[kFields[i].key];
    for (const Cause cause : kFieldCauses) {
      field[entry_of(cause).key] = assessment.field_causes[i][static_cast<std::size_t>(cause)];
    }
    field["guessed"] = assessment.guessed[i];
  }
  return json;
}

Json key_or_null(const std::optional<Cause>& cause) {
  return cause ? Json(entry_of(*cause).key) : Json();
}

Json json_of_groups_not_correct(const RecordedRun& run, const Assessment& assessment) {
  Json json = Json::array();
  for (std::size_t i = 0; i < run.groups.size(); ++i) {
    const Outcome outcome = assessment.group_judgements[i].outcome;
    if (outcome == Outcome::kCorrect) continue;
    const GroupResult& group = run.groups[i].result;
    json.push_back({{"group_id", printable(group.group_id)},
                    {"outcome", name_of(outcome)},
                    {"expected", printable(group.expected)},
                    {"read", printable(group.fields.final_plate_number)},
                    {"frames", group.frame_count},
                    {"cause", key_or_null(assessment.group_causes[i])}});
  }
  return json;
}

}  // namespace

void write_json(const RecordedRun& run, const Assessment& assessment, const Slices& slices,
                std::ostream& out) {
  Json notices = Json::array();
  for (const std::string& notice : run.notices) notices.push_back(notice);
  const Json json = {
      {"output_dir", printable(run.dir)},
      {"ended", run.ended},
      {"input_mode", run.input_mode},
      {"notices", notices},
      {"run", json_of_run(run)},
      {"groups", json_of(assessment.groups)},
      {"frames", json_of(assessment.frames)},
      {"slices", json_of(slices)},
      {"causes", json_of_causes(assessment)},
      {"field_causes", json_of_field_causes(assessment)},
      {"places", json_of(assessment.places)},
      {"kana_fallback",
       {{"frames", assessment.fallback_frames}, {"correct", assessment.fallback_right}}},
      {"confusions", json_of(assessment.confusions)},
      {"not_correct", json_of_groups_not_correct(run, assessment)}};
  out << json.dump(2) << '\n';
}

}  // namespace kavrel::report
