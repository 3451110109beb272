#include "app/base/case_list.h"

#include <stdexcept>
#include <utility>

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

std::string list_header() { return join_strings({kListColumns.begin(), kListColumns.end()}, ","); }

bool is_list_header(const ListCells& cells) { return cells.front() == output::column::kImagePath; }

ListColumns list_columns(const ListCells& header) {
  return {last_index_of(header, output::column::kImagePath),
          last_index_of(header, output::column::kExpected),
          last_index_of(header, output::column::kGroupId)};
}

CaseItem case_of_row(const ListCells& row, const ListColumns& columns) {
  CaseItem item{cell_at(row, columns.image_path), cell_at(row, columns.expected),
                cell_at(row, columns.group_id)};
  if (item.group_id.empty()) item.group_id = basename_no_ext(item.image_path);
  return item;
}

CaseReader::CaseReader(std::string path) : path_(std::move(path)), file_(path_) {}

bool CaseReader::next(CaseItem& item) {
  while (std::getline(file_, line_)) {
    line_ = trim(line_);
    if (line_.empty()) continue;
    const ListCells cells = split_csv_simple(line_);
    const bool is_header = first_line_ && is_list_header(cells);
    first_line_ = false;
    if (is_header) {
      header_ = line_;
      columns_ = list_columns(cells);
      continue;
    }
    item = case_of_row(cells, columns_);
    if (!item.image_path.empty()) return true;
  }
  if (!file_.is_open() || file_.bad()) {
    throw std::runtime_error("failed to open input list: " + path_);
  }
  return false;
}

std::vector<CaseItem> read_input_list(const std::string& path) {
  std::vector<CaseItem> items;
  CaseReader reader(path);
  for (CaseItem item; reader.next(item);) items.push_back(item);
  return items;
}

}  // namespace kavrel
