#include "report/html/html_trend.h"

#include <algorithm>
#include <cmath>

#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/html/html_page.h"

namespace kavrel::report {
namespace {

// The chart, in the units of its SVG: the runs stand side by side, right of the percentages.
constexpr int kLeft = 90;
constexpr int kStep = 110;
constexpr int kAside = 5;  // groups left and frames right of the run's place
constexpr int kTop = 15;
constexpr int kBottom = 285;

int x_of(std::size_t index) { return kLeft + kStep * static_cast<int>(index); }

// The axis ends below at a multiple of 10 % under every interval.
double floor_of(const std::vector<TrendRun>& runs) {
  double low = 1;
  for (const TrendRun& one : runs) {
    for (const Score* score : {&one.assessment.groups, &one.assessment.frames}) {
      if (const auto interval = wilson_interval(score->plates.share())) {
        low = std::min(low, interval->low);
      }
    }
  }
  return std::min(0.9, std::floor(low * 10) / 10);
}

class Chart {
 public:
  explicit Chart(double floor) : floor_(floor) {}

  std::string y_of(double share) const {
    const double part = (1 - share) / (1 - floor_);
    return std::to_string(static_cast<int>(std::lround(kTop + part * (kBottom - kTop))));
  }

  View grid() const {
    View lines = make_list();
    for (int tenth = 10; tenth / 10.0 > floor_ - 0.01; --tenth) {
      View line;
      line.set("y", y_of(tenth / 10.0));
      line.set("text_y", std::to_string(std::stoi(y_of(tenth / 10.0)) + 4));
      line.set("percent", std::to_string(10 * tenth) + " %");
      lines.push_back(line);
    }
    return lines;
  }

  // Adds the points of one kind, and returns the line through them.
  std::string add_points(const std::vector<TrendRun>& runs, Score Assessment::*score,
                         const char* style, int aside, View& points) const {
    std::string line;
    for (std::size_t i = 0; i < runs.size(); ++i) {
      const auto interval = wilson_interval((runs[i].assessment.*score).plates.share());
      if (!interval) continue;
      const std::string x = std::to_string(x_of(i) + aside);
      View point;
      point.set("class", std::string(style));
      point.set("x", x);
      point.set("y", y_of(interval->value));
      point.set("low", y_of(interval->low));
      point.set("high", y_of(interval->high));
      point.set("title", percent_of(interval) + " " + range_of(interval));
      points.push_back(point);
      line += x + "," + y_of(interval->value) + " ";
    }
    return line;
  }

 private:
  double floor_;
};

View figure_view(const OutcomeCounts& counts) {
  const auto interval = wilson_interval(counts.share());
  View view;
  view.set("counts", std::to_string(counts.correct) + " of " + std::to_string(counts.total()));
  view.set("rate", percent_of(interval));
  view.set("range", range_of(interval));
  return view;
}

View figure_views(const Assessment& assessment) {
  View figures = make_list();
  figures.push_back(figure_view(assessment.groups.plates));
  figures.push_back(figure_view(assessment.frames.plates));
  for (const OutcomeCounts& field : assessment.groups.fields) figures.push_back(figure_view(field));
  return figures;
}

// Facts that are the same for every run of the same thing.
bool is_lasting(const Fact& fact) {
  return fact.name != "Command" && fact.name != "Started" && fact.name != "Duration";
}

std::vector<std::string> changes_since(const RecordedRun& before, const RecordedRun& run) {
  if (!before.log || !run.log) return {"unknown: a log is missing"};
  const std::vector<Fact> old_facts = facts_of(before.log);
  std::vector<std::string> changes;
  for (const Fact& fact : facts_of(run.log)) {
    const bool is_same = std::any_of(old_facts.begin(), old_facts.end(), [&](const Fact& old) {
      return old.name == fact.name && old.value == fact.value;
    });
    if (!is_same && is_lasting(fact)) changes.push_back(fact.name + ": " + fact.value);
  }
  if (changes.empty()) changes.emplace_back("nothing that the logs tell");
  return changes;
}

View run_view(const std::vector<TrendRun>& runs, std::size_t index) {
  const RecordedRun& run = runs[index].run;
  std::vector<std::string> faults;
  for (const Fault& fault : run.faults) faults.emplace_back(fault.key);
  const auto changes =
      index == 0 ? std::vector<std::string>() : changes_since(runs[index - 1].run, run);
  View view;
  view.set("number", std::to_string(index + 1));
  view.set("dir", printable(run.dir));
  std::string ended = run.ended;
  std::replace(ended.begin(), ended.end(), 'T', ' ');
  view.set("ended", ended);
  view.set("faults", list_of_texts(faults));
  view.set("figures", figure_views(runs[index].assessment));
  view.set("changes", list_of_texts(changes));
  return view;
}

}  // namespace

std::string render_trend(const std::vector<TrendRun>& runs) {
  const Chart chart(floor_of(runs));
  View points = make_list();
  View names = make_list();
  View rows = make_list();
  View fields = make_list();
  for (const Field& field : kFields) fields.push_back(View("name", std::string(field.name)));
  for (std::size_t i = 0; i < runs.size(); ++i) {
    View name;
    name.set("x", std::to_string(x_of(i)));
    name.set("number", std::to_string(i + 1));
    names.push_back(name);
    rows.push_back(run_view(runs, i));
  }
  View view;
  view.set("count", count_of(runs.size(), "run"));
  view.set("first", printable(runs.front().run.dir));
  view.set("last", printable(runs.back().run.dir));
  view.set("width", std::to_string(x_of(runs.size())));
  view.set("lines", chart.grid());
  view.set("groups_line", chart.add_points(runs, &Assessment::groups, "groups", -kAside, points));
  view.set("frames_line", chart.add_points(runs, &Assessment::frames, "frames", kAside, points));
  view.set("points", points);
  view.set("names", names);
  view.set("fields", fields);
  view.set("runs", rows);
  view.set("version", std::string(resources::kVersion));
  return render_page("kavrel: accuracy over runs", Template(resources::kTrend).render(view));
}

}  // namespace kavrel::report
