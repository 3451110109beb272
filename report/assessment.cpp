#include "report/assessment.h"

#include <algorithm>

#include "report/progress.h"

namespace kavrel::report {
namespace {

void count_causes(const FieldJudgements& fields, const FrameDecision& decision,
                  Assessment& assessment) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (fields[i].outcome == Outcome::kCorrect) continue;
    CauseCounts& causes = assessment.causes[i];
    switch (cause_of(i, fields[i], decision)) {
      case Cause::kNeverRead:
        ++causes.never_read;
        break;
      case Cause::kOutvoted:
        ++causes.outvoted;
        break;
      case Cause::kFallback:
        ++causes.fallback;
        break;
    }
  }
  if (!decision.kana_from_fallback) return;
  ++assessment.fallback_frames;
  if (fields[kKana].outcome == Outcome::kCorrect) ++assessment.fallback_right;
}

void assess_frame(const FrameResult& frame, const std::vector<std::string>& region_words,
                  Assessment& assessment) {
  const PlateJudgement judgement = judge_plate(frame.expected, frame.fields);
  const FrameDecision decision = decide_frame(frame, region_words);
  assessment.frames.add(judgement);
  add_confusions(judgement, assessment.confusions);
  if (!decision.as_recorded) ++assessment.not_as_recorded;
  if (judgement.fields) count_causes(*judgement.fields, decision, assessment);
  assessment.frame_judgements.push_back(judgement);
}

}  // namespace

Cause cause_of(std::size_t field, const FieldJudgement& judgement, const FrameDecision& decision) {
  if (field == kKana && decision.kana_from_fallback) return Cause::kFallback;
  const int votes = votes_for(decision.plate.totals, kFields[field], judgement.expected);
  return votes == 0 ? Cause::kNeverRead : Cause::kOutvoted;
}

int count_correct_frames(const Group& group, const Assessment& assessment) {
  return static_cast<int>(std::count_if(
      group.frames.begin(), group.frames.end(),
      [&](std::size_t i) { return assessment.frame_judgements[i].outcome == Outcome::kCorrect; }));
}

Assessment assess(const RecordedRun& run, const std::vector<std::string>& region_words) {
  Assessment assessment;
  Progress progress("judging frames", run.frames.size());
  for (const FrameResult& frame : run.frames) {
    assess_frame(frame, region_words, assessment);
    progress.step();
  }
  for (const Group& group : run.groups) {
    assessment.group_judgements.push_back(judge_plate(group.result.expected, group.result.fields));
    assessment.groups.add(assessment.group_judgements.back());
  }
  return assessment;
}

}  // namespace kavrel::report
