#include "report/text/text_check.h"

#include <algorithm>

#include "app/base/text.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"

namespace kavrel::report {
namespace {

constexpr std::size_t kLinesShown = 5;

void print_line(const Mistake& mistake, std::ostream& out) {
  out << "  " << (mistake.line > 0 ? "line " + std::to_string(mistake.line) : "file") << ": "
      << mistake.detail << '\n';
}

void print_found(const FoundMistakes& found, std::ostream& out) {
  out << (found.check->severity == Severity::kError ? "error" : "warning") << " "
      << found.check->key << ": " << found.check->meaning << '\n';
  const std::size_t shown = std::min(found.mistakes.size(), kLinesShown);
  for (std::size_t i = 0; i < shown; ++i) print_line(found.mistakes[i], out);
  if (found.mistakes.size() > shown) {
    out << "  and " << found.mistakes.size() - shown << " more\n";
  }
}

}  // namespace

void print_verdict(const ListSheet& sheet, const ListVerdict& verdict, std::ostream& out) {
  for (const FoundMistakes& found : verdict.found) print_found(found, out);
  out << printable(sheet.path) << ": " << count_of(verdict.cases, "case") << " of "
      << count_of(verdict.groups, "group") << ", "
      << count_of(verdict.count(Severity::kError), "error") << ", "
      << count_of(verdict.count(Severity::kWarning), "warning") << '\n';
  if (verdict.can_be_mended()) {
    out << "What can be mended is written by: kavrel-report check " << shell_quote(sheet.path)
        << " --fix -o NEW.csv\n";
  }
}

void print_changes(const MendedList& mended, std::ostream& out) {
  for (const Mistake& change : mended.changes) print_line(change, out);
  out << count_of(mended.changes.size(), "change") << '\n';
}

}  // namespace kavrel::report
