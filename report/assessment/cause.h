// Why a plate is not correct: the first stage that failed, and what to do about it.
#ifndef KAVREL_REPORT_ASSESSMENT_CAUSE_H
#define KAVREL_REPORT_ASSESSMENT_CAUSE_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "app/base/output_format.h"
#include "report/assessment/decision.h"
#include "report/assessment/judgement.h"
#include "report/list/label.h"
#include "report/run/place.h"
#include "report/run/run.h"

namespace kavrel::report {

// In the order of the stages: of two that fit, the earlier one is the cause.
enum class Cause {
  kTwoPlates,
  kOutOfReach,
  kLabel,
  kNoPlate,
  kBoxBeside,
  kCorners,
  kNotRead,
  kOtherRow,
  kOutvoted,
  kTie,
  kKanaSearch,
  kUntold,
};

struct CauseEntry {
  Cause cause;
  const char* key;      // in files and options; never changes
  const char* name;     // for people
  const char* stage;    // which failed
  const char* advice;   // one sentence on what to do
  const char* picture;  // of a case, which shows that stage
};

constexpr std::array<CauseEntry, 12> kCauses = {{
    {Cause::kTwoPlates, "two-plates", "group holds two plates", "list",
     "Give each vehicle a group of its own in the list.", output::picture::kPlateCrop},
    {Cause::kOutOfReach, "out-of-reach", "cannot be produced", "list",
     "Correct the label if it is mistyped; else leave the plate out of the list, or count it "
     "apart: kavrel reads class numbers of three digits, serials of three or four, the kana of "
     "plates and the names in its region words, and nothing else.",
     output::picture::kPlateCrop},
    {Cause::kLabel, "label", "label spelled differently", "list",
     "Spell the expected text as kavrel writes plates, like 品川 330 あ 12-34.",
     output::picture::kPlateCrop},
    {Cause::kNoPlate, "no-plate", "no plate found", "plate detector",
     "Try a lower --plate-det-thresh, and train the detector on pictures like these.",
     output::picture::kPlateDetections},
    {Cause::kBoxBeside, "box-beside", "box beside the plate", "plate detector",
     "Train the detector on pictures like these: the box that scored best does not hold the plate.",
     output::picture::kPlateDetections},
    {Cause::kCorners, "corners", "corners suspect", "plate corners",
     "Look where the green outline with its red corners lies, and train the corner network on "
     "plates like these.",
     output::picture::kCorners},
    {Cause::kNotRead, "not-read", "text never read", "text recogniser",
     "Look at the rectified plate: if it shows what was read, correct the label; if it shows what "
     "was expected, train the recogniser on such lines; else the picture is too small or blurred.",
     output::picture::kPlateTextBoxes},
    {Cause::kOtherRow, "other-row", "taken from the other row", "vote of the readings",
     "Look at the text lines: one row was hardly read, and the other row's number stands in its "
     "place.",
     output::picture::kPlateTextBoxes},
    {Cause::kOutvoted, "outvoted", "outvoted", "vote of the readings",
     "Compare the readings: some are right, and more of them agree on something else.",
     output::picture::kRectifiedPlate},
    {Cause::kTie, "tie", "tie", "vote of the readings",
     "Add frames of this vehicle: as many votes are right as wrong, and the alphabet decided.",
     output::picture::kRectifiedPlate},
    {Cause::kKanaSearch, "kana-search", "invented by the kana search", "kana search",
     "Train the recogniser on this kana: no reading had one, and the search for it guessed.",
     output::picture::kWideKanaWindow},
    {Cause::kUntold, "untold", "not told by this run", "unknown",
     "Name the region words of the run with --dict-region, or run kavrel again: what it left does "
     "not tell.",
     output::picture::kRectifiedPlate},
}};

// Those that a field can have.
constexpr std::array<Cause, 6> kFieldCauses = {Cause::kNotRead,    Cause::kOtherRow,
                                               Cause::kOutvoted,   Cause::kTie,
                                               Cause::kKanaSearch, Cause::kUntold};

const CauseEntry& entry_of(Cause cause);

// Why a field of a frame is wrong, from its votes alone.
struct FieldCause {
  Cause cause;
  bool guessed;  // the wrong value was read for another field, or by nothing but the kana search
};

// Nothing where the field is right, or the label is not that of a plate.
using FieldCauses = std::array<std::optional<FieldCause>, kFields.size()>;

FieldCauses field_causes(const Label& label, const PlateFields& read,
                         const FrameDecision& decision);

// Of a frame that is not correct.
Cause cause_of_frame(const Label& label, const PlaceFinding& place, const FieldCauses& fields);

// Whether the expected texts of the group's frames are those of two plates, however spelled.
bool has_two_labels(const RecordedRun& run, const Group& group,
                    const std::vector<std::string>& region_words);

// All four fields were read, and none is the expected one. Beside a frame of its group that was
// read right, such a frame shows another vehicle.
bool is_other_plate(const FieldJudgements& fields);

// What most have; of equally many the earliest. There must be one.
Cause most_frequent(const std::vector<Cause>& causes);

}  // namespace kavrel::report

#endif
