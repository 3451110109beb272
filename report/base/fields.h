// The four fields of a plate, as reports speak of them.
#ifndef KAVREL_REPORT_BASE_FIELDS_H
#define KAVREL_REPORT_BASE_FIELDS_H

#include <array>
#include <optional>
#include <string>

#include "app/base/output_format.h"
#include "reading/plate_fields.h"
#include "reading/plate_parser.h"

namespace kavrel::report {

struct Field {
  const char* key;   // in files
  const char* name;  // for people
  std::string PlateFields::*value;
  Tally FieldTallies::*votes;
};

constexpr std::array<Field, 4> kFields = {{
    {output::column::kRegion, "Region", &PlateFields::region, &FieldTallies::region},
    {output::column::kClassNo, "Class", &PlateFields::class_no, &FieldTallies::class_no},
    {output::column::kKana, "Kana", &PlateFields::kana, &FieldTallies::kana},
    {output::column::kSerial, "Serial", &PlateFields::serial, &FieldTallies::serial},
}};

constexpr std::size_t kKana = 2;  // in kFields
static_assert(kFields[kKana].value == &PlateFields::kana);

// The fields of an expected text: its four parts between blanks, or, where blanks do not make four
// parts, what stands before the first ASCII digit, the digits, one character and the rest. Nothing
// if the text is no such plate.
std::optional<PlateFields> split_plate_number(const std::string& text);

}  // namespace kavrel::report

#endif
