#include "report/list/list_check.h"

#include <algorithm>
#include <map>
#include <set>

#include "report/base/progress.h"
#include "report/list/picture_facts.h"

namespace kavrel::report {
namespace {

std::vector<ListedCase> cases_of(const ListSheet& sheet) {
  const ListColumns columns = list_columns(sheet.meant_header());
  std::vector<ListedCase> cases;
  std::map<std::string, PictureFacts> pictures;  // a picture may stand in several rows
  Progress progress("looking at pictures", sheet.rows.size());
  for (const SheetRow& row : sheet.rows) {
    progress.step();
    const CaseItem item = case_of_row(row.cells, columns);
    if (item.image_path.empty()) continue;
    const auto [known, is_new] = pictures.try_emplace(item.image_path);
    if (is_new) known->second = look_at_picture(item.image_path, sheet.path);
    cases.push_back({row.line, item, known->second});
  }
  return cases;
}

std::size_t count_groups(const std::vector<ListedCase>& cases) {
  std::set<std::string> groups;
  for (const ListedCase& listed : cases) groups.insert(listed.item.group_id);
  return groups.size();
}

}  // namespace

std::size_t ListVerdict::count(Severity severity) const {
  std::size_t mistakes = 0;
  for (const FoundMistakes& one : found) {
    if (one.check->severity == severity) mistakes += one.mistakes.size();
  }
  return mistakes;
}

bool ListVerdict::can_be_mended() const {
  return std::any_of(found.begin(), found.end(),
                     [](const FoundMistakes& one) { return one.check->is_mended; });
}

const std::vector<ListCheck>& list_checks() {
  static const std::vector<ListCheck> checks = [] {
    std::vector<ListCheck> all = form_checks();
    for (const auto& part : {picture_checks(), label_checks()}) {
      all.insert(all.end(), part.begin(), part.end());
    }
    return all;
  }();
  return checks;
}

ListVerdict check_list(const ListSheet& sheet, const std::vector<std::string>& region_words) {
  const std::vector<ListedCase> cases = cases_of(sheet);
  const CheckedList list{sheet, cases, region_words};
  ListVerdict verdict{cases.size(), count_groups(cases), {}};
  for (const ListCheck& check : list_checks()) {
    std::vector<Mistake> mistakes;
    check.find(list, mistakes);
    if (!mistakes.empty()) verdict.found.push_back({&check, std::move(mistakes)});
  }
  return verdict;
}

}  // namespace kavrel::report
