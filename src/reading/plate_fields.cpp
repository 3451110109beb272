#include "reading/plate_fields.h"

#include "app/base/text.h"

namespace kavrel {

std::string assemble_plate_number(const PlateFields& fields) {
  return trim(join_strings({fields.region, fields.class_no, fields.kana, fields.serial}, " "));
}

}  // namespace kavrel
