// The case list: which images a run reads and what they are expected to show.
#ifndef KAVREL_APP_CASE_LIST_H
#define KAVREL_APP_CASE_LIST_H

#include <string>
#include <vector>

namespace kavrel {

struct CaseItem {
  std::string image_path;  // relative to the working directory
  std::string expected;    // plate text; empty without ground truth
  std::string group_id;    // frames of one vehicle share it
};

// Reads a CSV of image_path, expected and group_id in file order. A header is recognised by
// "image_path" as the first cell of the first line that is not blank, and then names the columns.
// Rows without an image are dropped; a missing group is the image's name without extension.
// Throws std::runtime_error "failed to open input list: " + path.
std::vector<CaseItem> read_input_list(const std::string& path);

}  // namespace kavrel

#endif
