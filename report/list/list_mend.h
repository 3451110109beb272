// A case list in the form that kavrel reads.
#ifndef KAVREL_REPORT_LIST_LIST_MEND_H
#define KAVREL_REPORT_LIST_LIST_MEND_H

#include <string>
#include <vector>

#include "report/list/list_check.h"

namespace kavrel::report {

struct MendedList {
  std::string text;              // the new file: UTF-8, commas, a header, one row per line
  std::vector<Mistake> changes;  // all that differs from the sheet, by its lines
};

// Mends what can be told from the sheet itself: its form, labels that are spelled otherwise than
// kavrel writes, and paths of pictures that lie beside the list. All other cells stay as they are.
// Throws std::runtime_error if the sheet's encoding is unknown.
MendedList mend_list(const ListSheet& sheet, const std::vector<std::string>& region_words);

}  // namespace kavrel::report

#endif
