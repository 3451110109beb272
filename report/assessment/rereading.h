// What a second run reads otherwise, whatever was expected: the first question when a network was
// exchanged or computed in fewer bits.
#ifndef KAVREL_REPORT_ASSESSMENT_REREADING_H
#define KAVREL_REPORT_ASSESSMENT_REREADING_H

#include <array>
#include <string>
#include <vector>

#include "report/assessment/compare.h"
#include "report/base/fields.h"

namespace kavrel::report {

// How often frames have the character `fresh` of a field in the new run where the base run has
// `base`; kNoCharacter where one of them is missing.
struct Replacement {
  std::size_t field;
  char32_t base;
  char32_t fresh;
  int count;
};

// Of groups and frames that both runs have.
struct Rereading {
  int groups = 0;
  int groups_changed = 0;
  int frames = 0;
  int frames_changed = 0;
  std::array<int, kFields.size()> fields_changed{};  // of frames
  std::vector<Replacement> replacements;             // most frequent first, then by field
};

Rereading find_rereading(const ComparedRuns& runs);

// The same in one sentence or two.
std::vector<std::string> sentences_on(const Rereading& rereading);

}  // namespace kavrel::report

#endif
