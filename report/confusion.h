// Which characters are taken for which.
#ifndef KAVREL_REPORT_CONFUSION_H
#define KAVREL_REPORT_CONFUSION_H

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "report/judgement.h"

namespace kavrel::report {

// How often an expected character (first) was read as another (second); kNoCharacter where one of
// them is missing. Equal ones are counted too.
using CharacterCounts = std::map<std::pair<char32_t, char32_t>, int>;

// Of each field. A field that was not read at all confuses nothing and is not counted.
using ConfusionCounts = std::array<CharacterCounts, kFields.size()>;

void add_confusions(const PlateJudgement& plate, ConfusionCounts& counts);

struct Confusion {
  std::size_t field;
  char32_t expected;
  char32_t read;
  int count;
  int of;  // how often the expected character stood in that field; 0 if it is missing
};

// Of characters that differ, most frequent first, then in the order of fields and characters.
std::vector<Confusion> most_frequent(const ConfusionCounts& counts);

}  // namespace kavrel::report

#endif
