// A case list from folders of pictures.
#ifndef KAVREL_REPORT_LIST_NEW_LIST_H
#define KAVREL_REPORT_LIST_NEW_LIST_H

#include <optional>
#include <string>
#include <vector>

#include "app/base/case_list.h"

namespace kavrel::report {

// What was noticed, with the names that it is about.
struct ListRemark {
  std::string text;
  std::vector<std::string> names;
};

struct NewList {
  std::vector<CaseItem> cases;
  std::vector<ListRemark> remarks;
};

enum class GroupBy {
  kNothing,    // each picture is of a vehicle of its own
  kDirectory,  // the pictures of a folder
  kName,       // the part of the file name that the pattern's first parentheses hold
  kTime,       // pictures of a folder that were taken within a span of seconds
};

struct Grouping {
  GroupBy by = GroupBy::kNothing;
  std::string pattern;  // ECMAScript, of the whole file name without its extension
  int seconds = 2;      // from a group's first picture to its last
};

// Every picture below the folders, these in the order in which they are named, the pictures of each
// in byte order of their paths; a picture below two of them is taken once. Left out is what begins
// with a dot. Throws std::runtime_error if a folder cannot be read, or if there is no picture.
NewList list_pictures_below(const std::vector<std::string>& folders);

// Gives each case its group. A case that the grouping does not place stays without one. Throws
// std::runtime_error if the pattern is none, or if the grouping places no case at all.
void group_cases(const Grouping& grouping, NewList& list);

// Takes each case's label from its file name, where one stands in it.
void label_by_name(const std::vector<std::string>& region_words, NewList& list);

// Adds what kavrel will make of the list that its owner may not mean: pictures of the same name,
// groups that lie in several folders.
void remark_on_cases(NewList& list);

// As kavrel will make them: a case without a group is one, named as its picture.
std::size_t count_groups(const NewList& list);

// The list as kavrel reads it.
std::string list_text(const NewList& list);

}  // namespace kavrel::report

#endif
