#include "app/case_list.h"

#include "app/base/files.h"
#include "app/base/text.h"

namespace kavrel {
namespace {

using Cells = std::vector<std::string>;

// Where each field stands in a row; npos when the list has no such column.
struct Columns {
  std::size_t image_path = 0;
  std::size_t expected = 1;
  std::size_t group_id = 2;
};

// Of columns with the same name the last counts.
std::size_t last_index_of(const Cells& header, const std::string& name) {
  for (std::size_t i = header.size(); i > 0; --i) {
    if (header[i - 1] == name) return i - 1;
  }
  return std::string::npos;
}

Columns columns_of(const Cells& header) {
  return {last_index_of(header, "image_path"), last_index_of(header, "expected"),
          last_index_of(header, "group_id")};
}

std::string cell_at(const Cells& row, std::size_t index) {
  return index < row.size() ? row[index] : std::string();
}

CaseItem item_of(const Cells& row, const Columns& columns) {
  CaseItem item{cell_at(row, columns.image_path), cell_at(row, columns.expected),
                cell_at(row, columns.group_id)};
  if (item.group_id.empty()) item.group_id = basename_no_ext(item.image_path);
  return item;
}

}  // namespace

std::vector<CaseItem> read_input_list(const std::string& path) {
  std::vector<CaseItem> items;
  Columns columns;
  bool first_line = true;
  for (const std::string& line : read_trimmed_lines(path, "failed to open input list: ")) {
    const Cells cells = split_csv_simple(line);
    const bool is_header = first_line && cells.front() == "image_path";
    first_line = false;
    if (is_header) {
      columns = columns_of(cells);
      continue;
    }
    const CaseItem item = item_of(cells, columns);
    if (!item.image_path.empty()) items.push_back(item);
  }
  return items;
}

}  // namespace kavrel
