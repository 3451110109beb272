#include "report/list/list_rows.h"

#include <algorithm>

#include "app/base/files.h"
#include "app/base/text.h"

namespace kavrel::report {
namespace {

std::string line_of(const ListCells& row) {
  std::vector<std::string> cells;
  for (const std::string& cell : row) cells.push_back(csv_escape(cell));
  return join_strings(cells, ",") + '\n';
}

void add_missing_columns(ListCells& header) {
  for (const char* name : kListColumns) {
    if (std::find(header.begin(), header.end(), name) == header.end()) header.push_back(name);
  }
}

}  // namespace

ListRows read_list_rows(const std::string& path) {
  ListRows list;
  list.header = {kListColumns.begin(), kListColumns.end()};
  bool is_first = true;
  for (const std::string& line : read_trimmed_lines(path, "failed to open input list: ")) {
    ListCells cells = split_csv_simple(line);
    if (is_first && is_list_header(cells)) {
      list.header = std::move(cells);
      add_missing_columns(list.header);
    } else {
      list.rows.push_back(std::move(cells));
    }
    is_first = false;
  }
  list.columns = list_columns(list.header);
  const auto has_no_picture = [&](const ListCells& row) {
    return case_of_row(row, list.columns).image_path.empty();
  };
  list.rows.erase(std::remove_if(list.rows.begin(), list.rows.end(), has_no_picture),
                  list.rows.end());
  for (ListCells& row : list.rows) row.resize(std::max(row.size(), list.header.size()));
  return list;
}

ListRows rows_of_cases(const std::vector<CaseItem>& cases) {
  ListRows list;
  list.header = {kListColumns.begin(), kListColumns.end()};
  list.columns = list_columns(list.header);
  for (const CaseItem& item : cases) {
    list.rows.push_back({item.image_path, item.expected, item.group_id});
  }
  return list;
}

std::string rows_text(const ListRows& list) {
  std::string text = line_of(list.header);
  for (const ListCells& row : list.rows) text += line_of(row);
  return text;
}

}  // namespace kavrel::report
