// Why a frame was read as it was: the vote of its readings, counted again.
#ifndef KAVREL_REPORT_ASSESSMENT_DECISION_H
#define KAVREL_REPORT_ASSESSMENT_DECISION_H

#include <string>
#include <vector>

#include "reading/frame_result.h"
#include "reading/plate_parser.h"
#include "report/base/fields.h"

namespace kavrel::report {

struct FrameDecision {
  PlateDecision plate;
  bool kana_from_fallback = false;  // no reading had a kana, and the search for it found one
  // Whether the vote gives what the run recorded. It does not if the run used other region words.
  bool as_recorded = true;
};

FrameDecision decide_frame(const FrameResult& frame, const std::vector<std::string>& region_words);

// Whether no reading had a part of a plate.
bool has_no_vote(const FrameDecision& decision);

// Votes for `value` in the field's tally.
int votes_for(const FieldTallies& tallies, const Field& field, const std::string& value);

struct Candidate {
  std::string value;
  int votes;
};

// The field's candidates, most votes first, of equal ones the first in byte order: the first is
// the one that the vote takes.
std::vector<Candidate> ranking(const FieldTallies& tallies, const Field& field);

}  // namespace kavrel::report

#endif
