// Checks of what a list expects: can a right reading be counted as correct?
#include <array>
#include <map>

#include "reading/plate_text.h"
#include "report/base/fields.h"
#include "report/base/unicode.h"
#include "report/list/label.h"
#include "report/list/list_check.h"

namespace kavrel::report {
namespace {

using Mistakes = std::vector<Mistake>;

// Every label once, with the first line that has it.
std::map<int, std::string> labels_by_line(const CheckedList& list) {
  std::map<std::string, int> lines;
  for (const ListedCase& listed : list.cases) {
    if (!listed.item.expected.empty()) lines.emplace(listed.item.expected, listed.line);
  }
  std::map<int, std::string> labels;
  for (const auto& [label, line] : lines) labels.emplace(line, label);
  return labels;
}

// However the label spells it.
std::string meant_by(const std::string& expected, const CheckedList& list) {
  const Label label = read_label(expected, list.region_words);
  return normalize_plate_text(label.plate ? label.plate->final_plate_number : expected);
}

void find_two_plates(const CheckedList& list, Mistakes& mistakes) {
  std::map<std::string, const ListedCase*> groups;  // the first labelled case of each
  for (const ListedCase& listed : list.cases) {
    if (listed.item.expected.empty()) continue;
    const auto [first, is_new] = groups.emplace(listed.item.group_id, &listed);
    const std::string& before = first->second->item.expected;
    if (meant_by(before, list) == meant_by(listed.item.expected, list)) continue;
    mistakes.push_back({listed.line, "group " + printable(listed.item.group_id) + ": " +
                                         printable(listed.item.expected) + ", and " +
                                         printable(before) + " in line " +
                                         std::to_string(first->second->line)});
  }
}

void find_group_unlabelled(const CheckedList& list, Mistakes& mistakes) {
  std::map<std::string, bool> has_label;  // the first case of each group
  std::map<std::string, bool> told;
  for (const ListedCase& listed : list.cases) {
    const std::string& group = listed.item.group_id;
    const bool is_labelled = !listed.item.expected.empty();
    const auto [first, is_new] = has_label.emplace(group, is_labelled);
    if (first->second || !is_labelled || told[group]) continue;
    told[group] = true;
    mistakes.push_back({listed.line, "group " + printable(group)});
  }
}

void find_nothing_expected(const CheckedList& list, Mistakes& mistakes) {
  if (!list.cases.empty() && labels_by_line(list).empty()) {
    mistakes.push_back({0, "no row has an expected text"});
  }
}

void find_misspelled(const CheckedList& list, Mistakes& mistakes) {
  for (const auto& [line, expected] : labels_by_line(list)) {
    const Label label = read_label(expected, list.region_words);
    if (!label.plate || label.as_kavrel_writes) continue;
    mistakes.push_back({line, printable(expected) + ", which kavrel writes as " +
                                  printable(label.plate->final_plate_number)});
  }
}

void find_no_plate(const CheckedList& list, Mistakes& mistakes) {
  for (const auto& [line, expected] : labels_by_line(list)) {
    if (!read_label(expected, list.region_words).plate) {
      mistakes.push_back({line, printable(expected)});
    }
  }
}

// Regions are told apart: their words are an option of the run.
void find_out_of_reach(const CheckedList& list, bool is_region, Mistakes& mistakes) {
  for (const auto& [line, expected] : labels_by_line(list)) {
    const Label label = read_label(expected, list.region_words);
    for (const Field& field : kFields) {
      const std::string& value = label.out_of_reach.*field.value;
      if (value.empty() || (field.value == &PlateFields::region) != is_region) continue;
      mistakes.push_back({line, printable(expected + ": " + field.key + " " + value)});
    }
  }
}

void find_unknown_region(const CheckedList& list, Mistakes& mistakes) {
  find_out_of_reach(list, true, mistakes);
}

void find_out_of_rules(const CheckedList& list, Mistakes& mistakes) {
  find_out_of_reach(list, false, mistakes);
}

constexpr std::array<ListCheck, 7> kLabelChecks = {{
    {"two-plates", kError,
     "a group is one vehicle: kavrel votes over its frames, and expects what the first one "
     "expects",
     false, find_two_plates},
    {"first-unlabelled", kWarning,
     "a group whose first row expects nothing is not judged, whatever its other rows expect", false,
     find_group_unlabelled},
    {"spelling", kError, "no reading equals a label that is spelled otherwise than kavrel writes",
     true, find_misspelled},
    {"no-plate-text", kWarning,
     "the label is not region, class number, kana and serial: hardly a reading equals it", false,
     find_no_plate},
    {"region", kWarning, "the region is no word of the region words, so that no reading has it",
     false, find_unknown_region},
    {"out-of-reach", kWarning,
     "kavrel's rules of reading never give such a plate, however well it is read", false,
     find_out_of_rules},
    {"unlabelled", kWarning, "nothing can be judged", false, find_nothing_expected},
}};

}  // namespace

std::vector<ListCheck> label_checks() { return {kLabelChecks.begin(), kLabelChecks.end()}; }

}  // namespace kavrel::report
