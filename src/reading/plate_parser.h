// From all readings of a plate to its fields.
#ifndef KAVREL_READING_PLATE_PARSER_H
#define KAVREL_READING_PLATE_PARSER_H

#include <string>
#include <vector>

#include "ocr/ocr_text.h"
#include "reading/plate_fields.h"

namespace kavrel {

// Every reading votes for values of the fields, weighted by the part of the plate that it comes
// from (`source`, see run_whole_plate_ocr_variants); each field takes the value with the highest
// total. Then class number and serial are exchanged where both have three digits and the readings
// of the upper row show the serial more often. `region_words`: the known region names, in any
// order.
PlateFields parse_jp_plate(const std::vector<OcrText>& texts,
                           const std::vector<std::string>& region_words);

}  // namespace kavrel

#endif
