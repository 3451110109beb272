// What a list expects of a plate, in the form in which kavrel writes plates.
#ifndef KAVREL_REPORT_LIST_LABEL_H
#define KAVREL_REPORT_LIST_LABEL_H

#include <optional>
#include <string>
#include <vector>

#include "reading/plate_fields.h"

namespace kavrel::report {

struct Label {
  std::optional<PlateFields> plate;  // as kavrel would write the one that is meant
  bool as_kavrel_writes = false;     // it is spelled so already: a right reading equals it
  // Fields that no reading can give, empty ones where it can: a serial of one or two digits, a
  // class number that is not three digits, a region that is no region word, a kana that plates do
  // not have.
  PlateFields out_of_reach;

  bool is_out_of_reach() const;
};

// Full-width characters, other hyphens, the dots before a short serial, a serial without its
// hyphen and katakana are taken for what they stand for.
Label read_label(const std::string& expected, const std::vector<std::string>& region_words);

// The plate that stands somewhere in a text, such as a file name: a region word, and behind it
// class number, kana and serial, with blanks, "_", "-" and "." between them or nothing. Nothing if
// there is none that a reading could give.
std::optional<PlateFields> find_label(const std::string& text,
                                      const std::vector<std::string>& region_words);

}  // namespace kavrel::report

#endif
