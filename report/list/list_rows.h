// A case list row by row, with the columns of its owner, so that it can be written again with
// labels.
#ifndef KAVREL_REPORT_LIST_LIST_ROWS_H
#define KAVREL_REPORT_LIST_LIST_ROWS_H

#include <string>
#include <vector>

#include "app/base/case_list.h"

namespace kavrel::report {

struct ListRows {
  ListCells header;  // has all columns of kavrel
  ListColumns columns;
  std::vector<ListCells> rows;  // those with a picture, as long as the header or longer
};

// The list as kavrel reads it. Throws as read_input_list does.
ListRows read_list_rows(const std::string& path);

// The list of these cases.
ListRows rows_of_cases(const std::vector<CaseItem>& cases);

// The list's text, as kavrel reads it.
std::string rows_text(const ListRows& list);

}  // namespace kavrel::report

#endif
