// Checks of a list's form: does kavrel's reader see the rows that are meant?
#include <array>
#include <map>

#include "app/base/output_format.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/list/list_check.h"

namespace kavrel::report {
namespace {

using Mistakes = std::vector<Mistake>;

void find_byte_order_mark(const CheckedList& list, Mistakes& mistakes) {
  if (list.sheet.byte_order_mark) mistakes.push_back({0, "UTF-8 with a byte order mark"});
}

void find_other_encoding(const CheckedList& list, Mistakes& mistakes) {
  if (list.sheet.encoding == "UTF-8") return;
  mistakes.push_back(
      {0, list.sheet.encoding.empty() ? "neither UTF-8 nor Shift-JIS" : list.sheet.encoding});
}

void find_lone_returns(const CheckedList& list, Mistakes& mistakes) {
  if (list.sheet.lone_returns) mistakes.push_back({0, "CR alone"});
}

void find_other_separator(const CheckedList& list, Mistakes& mistakes) {
  if (list.sheet.separator == ',') return;
  mistakes.push_back({0, list.sheet.separator == ';' ? "semicolons" : "tabs"});
}

void find_open_quote(const CheckedList& list, Mistakes& mistakes) {
  for (const SheetRow& row : list.sheet.rows) {
    if (row.open_quote) mistakes.push_back({row.line, printable(row.cells.back())});
  }
}

std::string quoted(const std::string& name) { return "\"" + printable(name) + "\""; }

void find_wrong_header(const CheckedList& list, Mistakes& mistakes) {
  const ListSheet& sheet = list.sheet;
  if (!sheet.has_header) return;
  for (const SheetColumn& column : sheet.columns) {
    if (column.name == column.meant) continue;
    mistakes.push_back({sheet.header_line, quoted(column.name) + " for " + column.meant});
  }
  const ListCells names = sheet.meant_header();
  if (!is_list_header(names)) {
    mistakes.push_back({sheet.header_line, quoted(sheet.columns.front().name) + " stands before " +
                                               output::column::kImagePath});
  }
}

void find_missing_header(const CheckedList& list, Mistakes& mistakes) {
  if (!list.sheet.has_header && !list.sheet.rows.empty()) {
    mistakes.push_back({list.sheet.rows.front().line, "the first row is a case"});
  }
}

void find_missing_column(const CheckedList& list, Mistakes& mistakes) {
  const ListColumns columns = list_columns(list.sheet.meant_header());
  const int line = list.sheet.header_line;
  if (columns.expected == std::string::npos) mistakes.push_back({line, output::column::kExpected});
  if (columns.group_id == std::string::npos) mistakes.push_back({line, output::column::kGroupId});
}

void find_column_twice(const CheckedList& list, Mistakes& mistakes) {
  std::map<std::string, int> times;
  for (const std::string& name : list.sheet.meant_header()) ++times[name];
  for (const auto& [name, count] : times) {
    if (count > 1 && !name.empty()) mistakes.push_back({list.sheet.header_line, quoted(name)});
  }
}

void find_rows_without_picture(const CheckedList& list, Mistakes& mistakes) {
  const ListColumns columns = list_columns(list.sheet.meant_header());
  for (const SheetRow& row : list.sheet.rows) {
    const CaseItem item = case_of_row(row.cells, columns);
    if (item.image_path.empty()) mistakes.push_back({row.line, printable(item.expected)});
  }
}

void find_long_rows(const CheckedList& list, Mistakes& mistakes) {
  const ListSheet& sheet = list.sheet;
  if (!sheet.has_header) return;
  for (const SheetRow& row : sheet.rows) {
    if (row.cells.size() <= sheet.columns.size()) continue;
    mistakes.push_back({row.line, count_of(row.cells.size(), "cell") + " under " +
                                      count_of(sheet.columns.size(), "name")});
  }
}

void find_no_case(const CheckedList& list, Mistakes& mistakes) {
  if (list.cases.empty()) mistakes.push_back({0, "no row has a picture"});
}

constexpr std::array<ListCheck, 12> kFormChecks = {{
    {"byte-order-mark", kError,
     "kavrel takes the mark for a part of the first cell, and the header for a picture", true,
     find_byte_order_mark},
    {"encoding", kError, "kavrel compares bytes: only labels in UTF-8 can be correct", true,
     find_other_encoding},
    {"line-ends", kError, "kavrel takes the whole file for one line", true, find_lone_returns},
    {"separator", kError, "kavrel cuts cells at commas only, and takes a whole row for a picture",
     true, find_other_separator},
    {"open-quote", kError,
     "a quote is not closed in its line; kavrel reads line by line, and takes the rest of the "
     "line for one cell",
     false, find_open_quote},
    {"header", kError,
     "kavrel knows a header by image_path, which comes first; other names are of columns that it "
     "does not read",
     true, find_wrong_header},
    {"no-header", kWarning, "columns are taken for image_path, expected and group_id in this order",
     true, find_missing_header},
    {"no-column", kWarning,
     "without expected nothing is judged; without group_id each picture is a group of its own",
     false, find_missing_column},
    {"column-twice", kWarning, "of columns of the same name kavrel reads the last", false,
     find_column_twice},
    {"no-picture", kWarning, "kavrel drops a row without a picture", false,
     find_rows_without_picture},
    {"too-many-cells", kWarning,
     "a row has more cells than the header has names: a comma in a cell wants quotes around it",
     false, find_long_rows},
    {"no-case", kError, "there is nothing to read", false, find_no_case},
}};

}  // namespace

std::vector<ListCheck> form_checks() { return {kFormChecks.begin(), kFormChecks.end()}; }

}  // namespace kavrel::report
