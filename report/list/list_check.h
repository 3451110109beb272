// What is wrong with a case list, found before a run spends hours on it.
#ifndef KAVREL_REPORT_LIST_LIST_CHECK_H
#define KAVREL_REPORT_LIST_LIST_CHECK_H

#include <string>
#include <vector>

#include "report/list/list_sheet.h"
#include "report/list/picture_facts.h"

namespace kavrel::report {

enum class Severity {
  kError,    // the run would end early, or take the list for something else than it is meant to be
  kWarning,  // the run goes through, and its figures are not what they seem
};
constexpr auto kError = Severity::kError;
constexpr auto kWarning = Severity::kWarning;

// A row that has a picture.
struct ListedCase {
  int line;
  CaseItem item;
  PictureFacts picture;
};

struct CheckedList {
  const ListSheet& sheet;
  const std::vector<ListedCase>& cases;
  const std::vector<std::string>& region_words;
};

struct Mistake {
  int line;            // 0: of the whole file
  std::string detail;  // what stands there
};

// Adds what it finds, in the order of the lines.
using FindMistakes = void (*)(const CheckedList& list, std::vector<Mistake>& mistakes);

struct ListCheck {
  const char* key;
  Severity severity;
  const char* meaning;  // what is wrong, and what follows from it
  bool is_mended;       // by mend_list(), as far as it can tell what is meant
  FindMistakes find;
};

// All checks, and those of each part, which are files of their own.
const std::vector<ListCheck>& list_checks();
std::vector<ListCheck> form_checks();
std::vector<ListCheck> picture_checks();
std::vector<ListCheck> label_checks();

struct FoundMistakes {
  const ListCheck* check;
  std::vector<Mistake> mistakes;  // at least one
};

struct ListVerdict {
  std::size_t cases = 0;
  std::size_t groups = 0;
  std::vector<FoundMistakes> found;

  std::size_t count(Severity severity) const;
  bool can_be_mended() const;
};

// Opens every picture, too.
ListVerdict check_list(const ListSheet& sheet, const std::vector<std::string>& region_words);

}  // namespace kavrel::report

#endif
