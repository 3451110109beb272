// How sure a vehicle's reading is: what a person who labels it should look at.
#ifndef KAVREL_REPORT_ASSESSMENT_DOUBT_H
#define KAVREL_REPORT_ASSESSMENT_DOUBT_H

#include <array>
#include <string>
#include <vector>

#include "report/assessment/decision.h"
#include "report/base/fields.h"
#include "report/run/run.h"

namespace kavrel::report {

enum class Doubt {
  kNone,
  kEmpty,     // nothing was read
  kSearched,  // a kana that no reading of a frame had
  kFrames,    // frames disagree
  kVotes,     // a value that was not taken has at least half as many votes
};

// "", "empty", "searched", "frames" or "votes".
const char* key_of(Doubt doubt);

struct FieldDoubt {
  Doubt doubt = Doubt::kNone;
  std::vector<Candidate> candidates;  // of all frames, as ranking() has them
};

struct VehicleDoubt {
  std::array<FieldDoubt, kFields.size()> fields;  // in the order of kFields
  // Plates that frames read, or that follow from a field's second candidate, other than the
  // vehicle's own: the likelier first.
  std::vector<PlateFields> others;

  // How many fields are in doubt, and one without a value as two.
  int weight() const;
};

VehicleDoubt doubt_of(const RecordedRun& run, const Group& group,
                      const std::vector<std::string>& region_words);

}  // namespace kavrel::report

#endif
