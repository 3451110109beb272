#include "report/list/list_mend.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include "app/base/text.h"
#include "report/base/unicode.h"
#include "report/list/label.h"

namespace kavrel::report {
namespace {

std::string change_of(const std::string& from, const std::string& to) {
  return printable(from) + " became " + printable(to);
}

std::string csv_row(const ListCells& cells) {
  std::vector<std::string> escaped;
  for (const std::string& cell : cells) escaped.push_back(csv_escape(cell));
  return join_strings(escaped, ",") + "\n";
}

void tell_changes_of_form(const ListSheet& sheet, std::vector<Mistake>& changes) {
  if (sheet.byte_order_mark) changes.push_back({0, "the byte order mark is gone"});
  if (sheet.encoding != "UTF-8") changes.push_back({0, change_of(sheet.encoding, "UTF-8")});
  if (sheet.lone_returns) changes.push_back({0, "line ends became line feeds"});
  if (sheet.separator != ',') {
    changes.push_back(
        {0, sheet.separator == ';' ? "semicolons became commas" : "tabs became commas"});
  }
}

// kavrel knows a header by its first cell.
void move_to_front(std::size_t index, ListCells& cells) {
  if (index >= cells.size()) cells.resize(index + 1);
  const auto first = cells.begin();
  std::rotate(first, first + static_cast<std::ptrdiff_t>(index),
              first + static_cast<std::ptrdiff_t>(index) + 1);
}

ListCells mended_header(const ListSheet& sheet, std::size_t image, std::vector<Mistake>& changes) {
  ListCells header = sheet.meant_header();
  if (!sheet.has_header) {
    changes.push_back({0, "the header " + join_strings(header, ",") + " was added"});
    return header;
  }
  for (const SheetColumn& column : sheet.columns) {
    if (column.name == column.meant) continue;
    changes.push_back({sheet.header_line, change_of(column.name, column.meant)});
  }
  if (image != 0) changes.push_back({sheet.header_line, "image_path became the first column"});
  move_to_front(image, header);
  return header;
}

std::string mended_path(const std::string& path, const std::string& list_path) {
  const PictureFacts picture = look_at_picture(path, list_path);
  return picture.found_at.empty() ? path : picture.found_at;
}

std::string mended_label(const std::string& expected,
                         const std::vector<std::string>& region_words) {
  const Label label = read_label(expected, region_words);
  const bool stays = expected.empty() || !label.plate || label.as_kavrel_writes;
  return stays ? expected : label.plate->final_plate_number;
}

// Replaces the cell, if the row has it.
template <typename Mend>
void mend_cell(std::size_t index, SheetRow& row, std::vector<Mistake>& changes, Mend mend) {
  if (index >= row.cells.size() || row.cells[index].empty()) return;
  std::string& cell = row.cells[index];
  const std::string mended = mend(cell);
  if (mended == cell) return;
  changes.push_back({row.line, change_of(cell, mended)});
  cell = mended;
}

}  // namespace

MendedList mend_list(const ListSheet& sheet, const std::vector<std::string>& region_words) {
  if (sheet.encoding.empty()) {
    throw std::runtime_error(sheet.path + " is neither UTF-8 nor Shift-JIS: save it as UTF-8");
  }
  MendedList mended;
  tell_changes_of_form(sheet, mended.changes);
  const ListColumns columns = list_columns(sheet.meant_header());
  const std::size_t image = columns.image_path;
  mended.text = csv_row(mended_header(sheet, image, mended.changes));
  for (SheetRow row : sheet.rows) {
    mend_cell(image, row, mended.changes,
              [&](const std::string& path) { return mended_path(path, sheet.path); });
    mend_cell(columns.expected, row, mended.changes,
              [&](const std::string& label) { return mended_label(label, region_words); });
    if (row.open_quote) mended.changes.push_back({row.line, "the quote ends with the line"});
    move_to_front(image, row.cells);
    mended.text += csv_row(row.cells);
  }
  return mended;
}

}  // namespace kavrel::report
