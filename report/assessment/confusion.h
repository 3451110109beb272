// Which characters are taken for which.
#ifndef KAVREL_REPORT_ASSESSMENT_CONFUSION_H
#define KAVREL_REPORT_ASSESSMENT_CONFUSION_H

#include <array>
#include <map>
#include <utility>
#include <vector>

#include "ocr/ocr_text.h"
#include "report/base/fields.h"

namespace kavrel::report {

// In how many frames a reading had the second character in the place of the first one, which was
// expected; kNoCharacter where one of them is missing. Equal ones are counted too.
using CharacterCounts = std::map<std::pair<char32_t, char32_t>, int>;

struct FieldConfusions {
  CharacterCounts pairs;
  std::map<char32_t, int> expected;  // frames with a reading that should have had the character
};

using ConfusionCounts = std::array<FieldConfusions, kFields.size()>;

// Of a frame: a confusion counts once, however many of its readings have it.
// Compares every reading with the row of the plate that its window shows; a detected text line
// with that part of the plate which it resembles most. A reading that has less than half of the
// expected characters did not mean them, and is not counted; nor are blanks and the serial's
// hyphen. What the vote, or the search for a kana, put into a field does not count here.
void add_confusions(const PlateFields& expected, const std::vector<OcrText>& readings,
                    ConfusionCounts& counts);

struct Confusion {
  std::size_t field;
  char32_t expected;
  char32_t read;
  int count;  // of frames
  int of;     // frames whose readings should have had the expected character; 0 if it is missing
};

// Of characters that differ, most frequent first, then in the order of fields and characters.
std::vector<Confusion> most_frequent(const ConfusionCounts& counts);

}  // namespace kavrel::report

#endif
