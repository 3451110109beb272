#ifndef KAVREL_READING_PLATE_FIELDS_H
#define KAVREL_READING_PLATE_FIELDS_H

#include <string>

namespace kavrel {

// A Japanese plate. A field that no reading supported is empty.
struct PlateFields {
  std::string region;    // a region word
  std::string class_no;  // three ASCII digits
  std::string kana;      // one plate kana
  std::string serial;    // "12-34", or three ASCII digits
  std::string final_plate_number;
};

// The four fields joined by single blanks, without blanks at the ends. A missing field in the
// middle leaves two blanks.
std::string assemble_plate_number(const PlateFields& fields);

}  // namespace kavrel

#endif
