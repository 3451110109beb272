#include "report/assessment/assessment.h"

#include <algorithm>

#include "report/base/progress.h"
#include "report/run/suspicion.h"

namespace kavrel::report {
namespace {

void count_field_causes(const FieldCauses& causes, Assessment& assessment) {
  for (std::size_t i = 0; i < causes.size(); ++i) {
    if (!causes[i]) continue;
    ++assessment.field_causes[i][static_cast<std::size_t>(causes[i]->cause)];
    if (causes[i]->guessed) ++assessment.guessed[i];
  }
}

bool failed(const PlateJudgement& plate) {
  return plate.outcome == Outcome::kMisread || plate.outcome == Outcome::kNotRead;
}

void add_place(const PlaceFinding& finding, const PlaceError& error, PlaceFigures& figures) {
  const bool on_plate = finding.box == Finding::kGood && !finding.whole_picture;
  ++figures.frames;
  figures.overlaps.push_back(error.overlap);
  if (on_plate) ++figures.on_plate;
  if (on_plate && error.corners) figures.corner_errors.push_back(*error.corners);
}

// Pictures are looked at where they matter: of frames that failed, and of those whose place is
// known.
PlaceFinding find_place(std::size_t index, const RecordedRun& run, const TruePlace* truth,
                        const FrameDecision& decision, Assessment& assessment) {
  const SeenPlace place = see_place(run, index);
  const auto error = truth ? measure_place(run, index, place, *truth) : std::nullopt;
  if (!error) return suspect_place(place, has_no_vote(decision));
  const PlaceFinding finding = judge_place(place, *error);
  add_place(finding, *error, *assessment.places);
  return finding;
}

// What all frames of a run are assessed by.
struct Yardstick {
  const std::vector<std::string>& region_words;
  const Truth& truth;
};

void assess_frame(std::size_t index, const RecordedRun& run, const Yardstick& yardstick,
                  Assessment& assessment) {
  const std::vector<std::string>& region_words = yardstick.region_words;
  const FrameResult& frame = run.frames[index];
  const PlateJudgement judgement = judge_plate(frame.expected, frame.fields);
  const FrameDecision decision = decide_frame(frame, region_words);
  assessment.frames.add(judgement);
  if (!decision.as_recorded) ++assessment.not_as_recorded;
  if (judgement.fields && decision.kana_from_fallback) {
    ++assessment.fallback_frames;
    if ((*judgement.fields)[kKana].outcome == Outcome::kCorrect) ++assessment.fallback_right;
  }
  assessment.frame_causes.emplace_back();
  const Label label = read_label(frame.expected, region_words);
  if (label.plate) add_confusions(*label.plate, frame.ocr_texts, assessment.confusions);
  const TruePlace* truth = yardstick.truth.find(frame);
  PlaceFinding place;
  if (truth || failed(judgement)) place = find_place(index, run, truth, decision, assessment);
  if (failed(judgement)) {
    const FieldCauses fields = field_causes(label, frame.fields, decision);
    count_field_causes(fields, assessment);
    assessment.frame_causes.back() = cause_of_frame(label, place, fields);
  }
  assessment.frame_judgements.push_back(judgement);
}

// A frame of another vehicle shows beside one that was read right.
bool mark_other_plates(const Group& group, Assessment& assessment) {
  if (count_correct_frames(group, assessment) == 0) return false;
  bool any = false;
  for (const std::size_t i : group.frames) {
    const PlateJudgement& plate = assessment.frame_judgements[i];
    if (!failed(plate) || !plate.fields || !is_other_plate(*plate.fields)) continue;
    assessment.frame_causes[i] = Cause::kTwoPlates;
    any = true;
  }
  return any;
}

Cause cause_of_group(const Group& group, bool two_plates,
                     const std::vector<std::string>& region_words, const Assessment& assessment) {
  if (two_plates) return Cause::kTwoPlates;
  std::vector<Cause> causes;
  for (const std::size_t i : group.frames) {
    if (assessment.frame_causes[i]) causes.push_back(*assessment.frame_causes[i]);
  }
  if (!causes.empty()) return most_frequent(causes);
  if (!group.frames.empty()) return Cause::kOutvoted;  // by frames without an expected text
  return cause_of_frame(read_label(group.result.expected, region_words), {}, {});
}

void assess_group(const RecordedRun& run, const Group& group,
                  const std::vector<std::string>& region_words, Assessment& assessment) {
  const PlateJudgement judgement = judge_plate(group.result.expected, group.result.fields);
  assessment.groups.add(judgement);
  const bool other_plates = mark_other_plates(group, assessment);
  const bool two_plates = other_plates || has_two_labels(run, group, region_words);
  assessment.group_causes.emplace_back();
  if (failed(judgement)) {
    assessment.group_causes.back() = cause_of_group(group, two_plates, region_words, assessment);
  }
  assessment.group_judgements.push_back(judgement);
}

void count_causes(const std::vector<std::optional<Cause>>& causes, CauseCounts& counts) {
  for (const auto& cause : causes) {
    if (cause) ++counts[static_cast<std::size_t>(*cause)];
  }
}

}  // namespace

int count_correct_frames(const Group& group, const Assessment& assessment) {
  return static_cast<int>(std::count_if(
      group.frames.begin(), group.frames.end(),
      [&](std::size_t i) { return assessment.frame_judgements[i].outcome == Outcome::kCorrect; }));
}

Assessment assess(const RecordedRun& run, const std::vector<std::string>& region_words,
                  const Truth& truth) {
  Assessment assessment;
  if (!truth.empty()) assessment.places.emplace();
  Progress progress("judging frames", run.frames.size());
  for (std::size_t i = 0; i < run.frames.size(); ++i) {
    assess_frame(i, run, {region_words, truth}, assessment);
    progress.step();
  }
  for (const Group& group : run.groups) assess_group(run, group, region_words, assessment);
  count_causes(assessment.frame_causes, assessment.frames_by_cause);
  count_causes(assessment.group_causes, assessment.groups_by_cause);
  return assessment;
}

}  // namespace kavrel::report
