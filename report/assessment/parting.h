// At which stage two runs part, frame by frame, told by the pictures that each stage leaves.
#ifndef KAVREL_REPORT_ASSESSMENT_PARTING_H
#define KAVREL_REPORT_ASSESSMENT_PARTING_H

#include <array>
#include <string>
#include <vector>

#include "report/assessment/compare.h"

namespace kavrel::report {

// In the order of a case.
enum class Stage { kDetector, kCorners, kTextDetector, kRecogniser, kVote };

struct StageEntry {
  Stage stage;
  const char* name;
  const char* exchanged;  // what was, where two runs part here
};

constexpr std::array<StageEntry, 5> kStages = {{
    {Stage::kDetector, "crop", "the plate detector, its options, or the pictures"},
    {Stage::kCorners, "corners", "the corner network"},
    {Stage::kTextDetector, "text lines", "the text detector"},
    {Stage::kRecogniser, "readings", "the recogniser or its dictionary"},
    {Stage::kVote, "fields", "the region words"},
}};

struct Parting {
  std::array<int, kStages.size()> frames{};  // that part there, in the order of kStages
  int alike = 0;
  int untold = 0;  // read otherwise, but the pictures that tell where are missing

  int count(Stage stage) const { return frames[static_cast<std::size_t>(stage)]; }
};

// Of frames that both runs have. A stage that is given the same and answers otherwise was
// exchanged, as every network answers the same to the same picture; so was each stage with a
// frame here. Runs of different machines may differ in a picture's last digits, and then part at
// every stage.
Parting find_parting(const RecordedRun& base, const RecordedRun& fresh,
                     const Comparison& comparison);

// "the corner network (12 frames part at the corners)", ...; nothing if all frames are alike.
std::vector<std::string> exchanged_in(const Parting& parting);

}  // namespace kavrel::report

#endif
