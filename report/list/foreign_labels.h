// Labels that were made in another tool, and how they get into a list.
#ifndef KAVREL_REPORT_LIST_FOREIGN_LABELS_H
#define KAVREL_REPORT_LIST_FOREIGN_LABELS_H

#include <string>
#include <vector>

#include "report/list/list_rows.h"
#include "report/list/new_list.h"

namespace kavrel::report {

// What a person made of a picture.
struct ForeignLabel {
  std::string image_path;
  std::vector<std::string> texts;  // each different one once; none: the plate cannot be read
};

// The labels of a file that is one of
//   Label Studio's JSON   tasks, of which the last annotation counts and predictions do not
//   COCO                  whose annotations have their text as attribute "text"
//   a case list
// told apart by their content. A picture that nobody annotated has no label. Throws
// std::runtime_error if the file cannot be read or is none of these.
std::vector<ForeignLabel> read_foreign_labels(const std::string& path);

// Gives each row the label of its picture, found by its path, else by its file name where one row
// alone has it. Rows without a label stay as they are. Returns what fitted nowhere.
std::vector<ListRemark> label_rows(const std::vector<ForeignLabel>& labels, ListRows& list);

}  // namespace kavrel::report

#endif
