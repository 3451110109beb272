// All figures of a run.
#ifndef KAVREL_REPORT_ASSESSMENT_ASSESSMENT_H
#define KAVREL_REPORT_ASSESSMENT_ASSESSMENT_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "report/assessment/cause.h"
#include "report/assessment/confusion.h"
#include "report/assessment/decision.h"
#include "report/assessment/score.h"
#include "report/run/run.h"
#include "report/run/truth.h"

namespace kavrel::report {

// How many have each cause, in the order of kCauses.
using CauseCounts = std::array<int, kCauses.size()>;

// Boxes and corners against the truth, of frames of which it is known and the pictures tell.
struct PlaceFigures {
  int frames = 0;
  int on_plate = 0;                   // the crop holds the plate
  std::vector<double> overlaps;       // of crop and plate, intersection over union
  std::vector<double> corner_errors;  // in widths of the plate, of crops that hold it
};

struct Assessment {
  Score groups;
  Score frames;
  ConfusionCounts confusions;  // of frames
  // Why frames and groups are not correct; nothing of those that are, or have no expected text.
  std::vector<std::optional<Cause>> frame_causes;
  std::vector<std::optional<Cause>> group_causes;
  CauseCounts frames_by_cause{};
  CauseCounts groups_by_cause{};
  std::array<CauseCounts, kFields.size()> field_causes{};  // of fields of frames
  std::array<int, kFields.size()> guessed{};  // wrong fields of frames that no reading meant
  std::optional<PlaceFigures> places;         // if there is a truth
  int fallback_frames = 0;                    // labelled ones whose kana the fallback found
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

int count_correct_frames(const Group& group, const Assessment& assessment);

Assessment assess(const RecordedRun& run, const std::vector<std::string>& region_words,
                  const Truth& truth = {});

}  // namespace kavrel::report

#endif
