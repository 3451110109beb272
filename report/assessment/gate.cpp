#include "report/assessment/gate.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

#include "app/base/text.h"
#include "report/base/unicode.h"
#include "report/base/wording.h"

namespace kavrel::report {
namespace {

std::string found_text(const Share& share) {
  const auto interval = wilson_interval(share);
  const std::string counts = std::to_string(share.part) + " of " + std::to_string(share.whole);
  return interval ? counts + ", " + percent(interval->value) + " " + range_of(interval)
                  : counts + ": nothing to judge";
}

std::string limit_text(const std::string& what, const char* limit, double share, bool of_interval) {
  return what + limit + percent(share) + (of_interval ? " (95 % interval)" : "");
}

// A share of nothing holds no rule.
GateLine at_least(const std::string& what, const Share& share, double least, bool of_interval) {
  const auto interval = wilson_interval(share);
  const bool holds = interval && (of_interval ? interval->low : interval->value) >= least;
  return {limit_text(what, " at least ", least, of_interval), holds, found_text(share)};
}

GateLine at_most(const std::string& what, const Share& share, double most, bool of_interval) {
  const auto interval = wilson_interval(share);
  const bool holds = interval && (of_interval ? interval->high : interval->value) <= most;
  return {limit_text(what, " at most ", most, of_interval), holds, found_text(share)};
}

GateLine whole(const std::string& what, const RecordedRun& run) {
  if (run.faults.empty()) return {what + " is whole and labelled", true, printable(run.dir)};
  std::vector<std::string> faults;
  for (const Fault& fault : run.faults) faults.push_back(fault.text);
  return {what + " is whole and labelled", false, join_strings(faults, " ")};
}

std::string value_text(const std::string& column, const std::string& value) {
  return printable(column) + " " + (value.empty() ? "(nothing)" : printable(value));
}

const Slice& slice_named(const Slices& slices, const std::string& column) {
  const auto slice = std::find_if(slices.columns.begin(), slices.columns.end(),
                                  [&](const Slice& one) { return one.column == column; });
  if (slice != slices.columns.end()) return *slice;
  throw std::runtime_error("no column " + column + " of the list to slice by" +
                           (slices.remark.empty() ? "" : ": " + slices.remark));
}

// A rule of a column alone holds for each of its values.
void judge_slice(const Slices& slices, const std::string& name, double least, bool of_interval,
                 std::vector<GateLine>& lines) {
  const std::size_t colon = name.find(':');
  const Slice& slice = slice_named(slices, name.substr(0, colon));
  bool any = false;
  for (const SliceValue& value : slice.values) {
    if (colon != std::string::npos && value.value != name.substr(colon + 1)) continue;
    any = true;
    if (colon == std::string::npos && value.groups.total() == 0) continue;
    lines.push_back(at_least("groups of " + value_text(slice.column, value.value) + " correct",
                             value.groups.share(), least, of_interval));
  }
  if (!any) throw std::runtime_error("no value " + name + " in the list");
}

GateLine mostly_labelled(const Score& groups, int most) {
  return {"groups without an expected text are at most " + std::to_string(most),
          groups.unlabelled <= most, std::to_string(groups.unlabelled)};
}

GateLine not_broken(const ComparedRuns& compared, int most) {
  const int lost = count_lost(compared.comparison, false);
  return {"groups that were correct and no longer are at most " + std::to_string(most),
          lost <= most, std::to_string(lost)};
}

GateLine of_one_list(const Comparison& comparison) {
  return {"some groups are expected to be the same plate in the base run", share_labels(comparison),
          std::to_string(comparison.shared_groups - comparison.relabelled) + " of " +
              count_of(comparison.shared_groups, "group")};
}

void judge_shares(const Assessment& assessment, const GateRules& rules,
                  std::vector<GateLine>& lines) {
  const bool of_interval = rules.lower_bound;
  if (rules.min_groups) {
    lines.push_back(at_least("groups correct", assessment.groups.plates.share(), *rules.min_groups,
                             of_interval));
  }
  if (rules.min_frames) {
    lines.push_back(at_least("frames correct", assessment.frames.plates.share(), *rules.min_frames,
                             of_interval));
  }
  for (const auto& [field, least] : rules.min_fields) {
    lines.push_back(at_least(std::string(kFields[field].key) + " of groups correct",
                             assessment.groups.fields[field].share(), least, of_interval));
  }
  for (const auto& [cause, most] : rules.max_causes) {
    const Share share{assessment.frames_by_cause[cause], assessment.frames.plates.total()};
    lines.push_back(
        at_most(std::string("frames with cause ") + kCauses[cause].key, share, most, of_interval));
  }
}

std::optional<double> share_in(const std::string& text) {
  char* end = nullptr;
  const double percents = std::strtod(text.c_str(), &end);
  const bool is_share = end != text.c_str() && std::string(end) == "%" && percents >= 0 &&
                        percents <= 100 && std::isfinite(percents);
  if (!is_share) return std::nullopt;
  return percents / 100;
}

}  // namespace

double parse_share(const std::string& text) {
  if (const auto share = share_in(text)) return *share;
  throw std::runtime_error("no share from 0% to 100%, such as 95%: " + text);
}

std::pair<std::string, double> parse_named_share(const std::string& text) {
  const std::size_t equals = text.rfind('=');
  const bool is_named = equals != std::string::npos && equals > 0;
  const auto share = is_named ? share_in(text.substr(equals + 1)) : std::nullopt;
  if (!share) throw std::runtime_error("no NAME=SHARE, such as kana=98%: " + text);
  return {text.substr(0, equals), *share};
}

std::size_t field_named(const std::string& key) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    if (kFields[i].key == key) return i;
    keys.emplace_back(kFields[i].key);
  }
  throw std::runtime_error("no field " + key + "; there are " + join_strings(keys, ", "));
}

std::size_t cause_named(const std::string& key) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < kCauses.size(); ++i) {
    if (kCauses[i].key == key) return i;
    keys.emplace_back(kCauses[i].key);
  }
  throw std::runtime_error("no cause " + key + "; there are " + join_strings(keys, ", "));
}

bool GateVerdict::passes() const {
  return std::all_of(lines.begin(), lines.end(), [](const GateLine& line) { return line.holds; });
}

GateVerdict judge_release(const RecordedRun& run, const Assessment& assessment,
                          const Slices& slices, const ComparedRuns* compared,
                          const GateRules& rules) {
  GateVerdict verdict;
  std::vector<GateLine>& lines = verdict.lines;
  lines.push_back(whole("the run", run));
  lines.push_back(mostly_labelled(assessment.groups, rules.max_unlabelled));
  const std::size_t always = lines.size();
  judge_shares(assessment, rules, lines);
  for (const auto& [name, least] : rules.min_slices) {
    judge_slice(slices, name, least, rules.lower_bound, lines);
  }
  if (compared != nullptr) {
    lines.push_back(whole("the base run", compared->base));
    lines.push_back(of_one_list(compared->comparison));
    lines.push_back(not_broken(*compared, rules.max_broken));
  }
  verdict.of_rules = lines.size() > always;
  return verdict;
}

}  // namespace kavrel::report
