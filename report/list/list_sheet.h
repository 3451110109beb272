// A case list as somebody saved it: what its rows are meant to be, whatever program wrote it.
#ifndef KAVREL_REPORT_LIST_LIST_SHEET_H
#define KAVREL_REPORT_LIST_LIST_SHEET_H

#include <string>
#include <vector>

#include "app/base/case_list.h"

namespace kavrel::report {

struct SheetRow {
  int line;         // in the file, from 1
  ListCells cells;  // in UTF-8, as kavrel's reader cuts and trims them
  bool open_quote;  // a quote is not closed before the line ends
};

// A column whose name differs from kavrel's, in the order of the file.
struct SheetColumn {
  std::string name;   // as it stands in the file; "" without a header
  std::string meant;  // kavrel's name for it, or its own
};

struct ListSheet {
  std::string path;
  std::string encoding;  // "UTF-8", "UTF-16", "Shift-JIS"; "" if the bytes are none of them
  bool byte_order_mark = false;
  bool lone_returns = false;  // lines end with a carriage return alone
  char separator = ',';
  bool has_header = false;  // the first row names columns, be it as kavrel wants it or otherwise
  int header_line = 0;
  std::vector<SheetColumn> columns;
  std::vector<SheetRow> rows;  // without the header and without blank lines

  // The names that are meant. The columns of kavrel are found by them as kavrel finds them.
  ListCells meant_header() const;
};

// Throws std::runtime_error if the file cannot be read.
ListSheet read_list_sheet(const std::string& path);

}  // namespace kavrel::report

#endif
