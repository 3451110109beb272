// The case list: which images a run reads and what they are expected to show.
#ifndef KAVREL_APP_BASE_CASE_LIST_H
#define KAVREL_APP_BASE_CASE_LIST_H

#include <array>
#include <fstream>
#include <string>
#include <vector>

#include "app/base/output_format.h"

namespace kavrel {

struct CaseItem {
  std::string image_path;  // relative to the working directory
  std::string expected;    // plate text; empty without ground truth
  std::string group_id;    // frames of one vehicle share it
};

// What a run's error says of a case whose image cannot be read, and behind it the image's path.
constexpr const char* kUnreadableImage = "failed to read image: ";

// Reads a CSV of image_path, expected and group_id in file order. A header is recognised by
// "image_path" as the first cell of the first line that is not blank, and then names the columns.
// Rows without an image are dropped; a missing group is the image's name without extension.
// Throws std::runtime_error "failed to open input list: " + path.
std::vector<CaseItem> read_input_list(const std::string& path);

// The steps of read_input_list, for whoever looks at a list line by line. A line's cells are those
// of split_csv_simple.
using ListCells = std::vector<std::string>;

// The columns that are read; a run's tables have them under the same names.
constexpr std::array<const char*, 3> kListColumns = {
    output::column::kImagePath, output::column::kExpected, output::column::kGroupId};

// The first line of a list that has these columns alone.
std::string list_header();

// Where each field stands in a row; npos when the list has no such column. Without a header they
// stand in this order.
struct ListColumns {
  std::size_t image_path = 0;
  std::size_t expected = 1;
  std::size_t group_id = 2;
};

// Whether the first line is a header, and which columns it names: of the same name the last counts.
bool is_list_header(const ListCells& cells);
ListColumns list_columns(const ListCells& header);

// The case of a row; its image_path is empty where the row has none.
CaseItem case_of_row(const ListCells& row, const ListColumns& columns);

// Goes through a list as read_input_list does, for whoever need not have all of it in memory.
class CaseReader {
 public:
  explicit CaseReader(std::string path);

  // The next case; false at the end of the list. Throws as read_input_list does.
  bool next(CaseItem& item);

  const std::string& header() const { return header_; }  // "" before the first case, or without one
  const std::string& line() const { return line_; }      // of the last case, trimmed

 private:
  std::string path_;
  std::ifstream file_;
  std::string header_;
  std::string line_;
  ListColumns columns_;
  bool first_line_ = true;
};

}  // namespace kavrel

#endif
