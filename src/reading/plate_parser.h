// From all readings of a plate to its fields.
#ifndef KAVREL_READING_PLATE_PARSER_H
#define KAVREL_READING_PLATE_PARSER_H

#include <string>
#include <vector>

#include "app/base/top_vote.h"
#include "ocr/ocr_text.h"
#include "reading/plate_fields.h"

namespace kavrel {

// Votes for values of each field.
struct FieldTallies {
  Tally region;
  Tally class_no;
  Tally kana;
  Tally serial;
};

// How the fields of a plate were decided.
struct PlateDecision {
  std::vector<FieldTallies> votes;  // of each reading, in their order
  FieldTallies totals;              // their sums
  bool exchanged = false;           // class number and serial, after the vote
  PlateFields fields;
};

// Every reading votes for values of the fields, weighted by the window of the plate that it
// comes from (`source`, see output::source); each field takes the value with the highest
// total. Then class number and serial are exchanged where both have three digits and the readings
// of the upper row show the serial more often. `region_words`: the known region names, in any
// order.
PlateDecision decide_plate(const std::vector<OcrText>& texts,
                           const std::vector<std::string>& region_words);

// The fields of decide_plate.
PlateFields parse_jp_plate(const std::vector<OcrText>& texts,
                           const std::vector<std::string>& region_words);

}  // namespace kavrel

#endif
