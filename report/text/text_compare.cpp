#include "report/text/text_compare.h"

#include "report/assessment/parting.h"
#include "report/assessment/rereading.h"
#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

void print_totals(const char* name, const Score& base, const Score& fresh,
                  const ItemChanges& changes, std::ostream& out) {
  out << name << ": base " << base.plates.correct << " of " << base.plates.total()
      << " correct, new " << fresh.plates.correct << " of " << fresh.plates.total() << "; broken "
      << changes.count(Change::kBroken) << ", fixed " << changes.count(Change::kFixed)
      << ", still not correct but read otherwise " << changes.count(Change::kStillNotCorrect)
      << ", removed " << changes.count(Change::kRemoved) << ", added "
      << changes.count(Change::kAdded) << "; McNemar's exact test "
      << probability_text(mcnemar_exact(changes.like_labelled_fixed, changes.like_labelled_broken))
      << '\n';
}

std::string reading_of(const RecordedRun& run, const std::optional<std::size_t>& index) {
  if (!index) return "(not there)";
  const std::string& read = run.groups[*index].result.fields.final_plate_number;
  return read.empty() ? "(nothing)" : printable(read);
}

void print_group(const ComparedRuns& runs, const ChangedItem& item, std::ostream& out) {
  const GroupResult& group =
      item.fresh ? runs.fresh.groups[*item.fresh].result : runs.base.groups[*item.base].result;
  out << "  " << name_of(item.change) << "  " << printable(group.group_id) << "  expected "
      << (group.expected.empty() ? "(nothing)" : printable(group.expected)) << "  base "
      << reading_of(runs.base, item.base) << "  new " << reading_of(runs.fresh, item.fresh) << '\n';
}

}  // namespace

void print_comparison(const ComparedRuns& runs, std::ostream& out) {
  for (const std::string& sentence : sentences_on(find_rereading(runs))) out << sentence << '\n';
  for (const std::string& notice : notices_on(runs)) out << printable(notice) << '\n';
  print_totals("groups", runs.base_assessment.groups, runs.fresh_assessment.groups,
               runs.comparison.groups, out);
  print_totals("frames", runs.base_assessment.frames, runs.fresh_assessment.frames,
               runs.comparison.frames, out);
  const Parting parting = find_parting(runs.base, runs.fresh, runs.comparison);
  for (const std::string& line : exchanged_in(parting)) out << "exchanged: " << line << '\n';
  for (const ChangedItem& item : runs.comparison.groups.items) {
    if (is_change(item.change)) print_group(runs, item, out);
  }
}

}  // namespace kavrel::report
