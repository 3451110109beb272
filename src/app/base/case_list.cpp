#include "app/base/case_list.h"

#include "app/base/files.h"
#include "app/base/text.h"

namespace kavrel {
namespace {

std::size_t last_index_of(const ListCells& header, const std::string& name) {
  for (std::size_t i = header.size(); i > 0; --i) {
    if (header[i - 1] == name) return i - 1;
  }
  return std::string::npos;
}

std::string cell_at(const ListCells& row, std::size_t index) {
  return index < row.size() ? row[index] : std::string();
}

}  // namespace

bool is_list_header(const ListCells& cells) { return cells.front() == list_column::kImagePath; }

ListColumns list_columns(const ListCells& header) {
  return {last_index_of(header, list_column::kImagePath),
          last_index_of(header, list_column::kExpected),
          last_index_of(header, list_column::kGroupId)};
}

CaseItem case_of_row(const ListCells& row, const ListColumns& columns) {
  CaseItem item{cell_at(row, columns.image_path), cell_at(row, columns.expected),
                cell_at(row, columns.group_id)};
  if (item.group_id.empty()) item.group_id = basename_no_ext(item.image_path);
  return item;
}

std::vector<CaseItem> read_input_list(const std::string& path) {
  std::vector<CaseItem> items;
  ListColumns columns;
  bool first_line = true;
  for (const std::string& line : read_trimmed_lines(path, "failed to open input list: ")) {
    const ListCells cells = split_csv_simple(line);
    const bool is_header = first_line && is_list_header(cells);
    first_line = false;
    if (is_header) {
      columns = list_columns(cells);
      continue;
    }
    const CaseItem item = case_of_row(cells, columns);
    if (!item.image_path.empty()) items.push_back(item);
  }
  return items;
}

}  // namespace kavrel
