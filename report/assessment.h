// All figures of a run.
#ifndef KAVREL_REPORT_ASSESSMENT_H
#define KAVREL_REPORT_ASSESSMENT_H

#include <array>
#include <string>
#include <vector>

#include "report/confusion.h"
#include "report/decision.h"
#include "report/run.h"
#include "report/score.h"

namespace kavrel::report {

// Why fields of frames are wrong.
struct CauseCounts {
  int never_read = 0;  // no reading voted for the expected value
  int outvoted = 0;    // some did, others had more votes
  int fallback = 0;    // no reading had a kana, and the search for it found a wrong one
};

struct Assessment {
  Score groups;
  Score frames;
  ConfusionCounts confusions;                      // of frames
  std::array<CauseCounts, kFields.size()> causes;  // of frames
  int fallback_frames = 0;                         // labelled ones whose kana the fallback found
  int fallback_right = 0;
  int not_as_recorded = 0;                       // frames
  std::vector<PlateJudgement> group_judgements;  // in the order of the groups
  std::vector<PlateJudgement> frame_judgements;  // in the order of the frames
};

// A run, and all that is known of it.
struct AssessedRun {
  const RecordedRun& run;
  const Assessment& assessment;
  const std::vector<std::string>& region_words;
};

enum class Cause { kNeverRead, kOutvoted, kFallback };

// Why a field of a frame that is not correct was read as it was.
Cause cause_of(std::size_t field, const FieldJudgement& judgement, const FrameDecision& decision);

int count_correct_frames(const Group& group, const Assessment& assessment);

Assessment assess(const RecordedRun& run, const std::vector<std::string>& region_words);

}  // namespace kavrel::report

#endif
