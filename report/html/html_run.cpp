#include "report/html/html_run.h"

#include "app/base/output_format.h"
#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/html/html_page.h"

namespace kavrel::report {
namespace {

std::string counts_text(const OutcomeCounts& counts) {
  return std::to_string(counts.correct) + " of " + std::to_string(counts.total());
}

View value_view(const SliceValue& value) {
  const auto groups = wilson_interval(value.groups.share());
  const auto frames = wilson_interval(value.frames.share());
  View view;
  view.set("is_nothing", value.value.empty());
  view.set("value", printable(value.value));
  view.set("groups", counts_text(value.groups));
  view.set("groups_rate", percent_of(groups));
  view.set("groups_range", range_of(groups));
  view.set("frames", counts_text(value.frames));
  view.set("frames_rate", percent_of(frames));
  view.set("frames_range", range_of(frames));
  return view;
}

View column_view(const Slice& slice) {
  View values = make_list();
  for (const SliceValue& value : slice.values) values.push_back(value_view(value));
  View view;
  view.set("column", printable(slice.column));
  view.set("values", values);
  view.set("mixed",
           slice.mixed_groups == 0 ? View(false) : View(count_of(slice.mixed_groups, "group")));
  return view;
}

}  // namespace

std::string render_run_facts(const RecordedRun& run, const std::string& name) {
  View facts = make_list();
  for (const Fact& fact : facts_of(run.log)) {
    View view;
    view.set("name", fact.name);
    view.set("value", printable(fact.value));
    facts.push_back(view);
  }
  View view;
  view.set("name", text_or_false(name));
  view.set("unknown", run.log ? View(false) : View(std::string(output::kRunLog)));
  view.set("facts", facts);
  return Template(resources::kRun).render(view);
}

std::string render_slices(const Slices& slices) {
  if (slices.columns.empty()) return "";
  View columns = make_list();
  for (const Slice& slice : slices.columns) columns.push_back(column_view(slice));
  View view;
  view.set("remark", text_or_false(slices.remark));
  view.set("columns", columns);
  return Template(resources::kSlices).render(view);
}

}  // namespace kavrel::report
