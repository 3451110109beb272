// Whether a run is good enough for a release.
#ifndef KAVREL_REPORT_ASSESSMENT_GATE_H
#define KAVREL_REPORT_ASSESSMENT_GATE_H

#include <optional>
#include <string>
#include <vector>

#include "report/assessment/compare.h"
#include "report/assessment/slices.h"

namespace kavrel::report {

// Shares are between 0 and 1.
struct GateRules {
  std::optional<double> min_groups;
  std::optional<double> min_frames;
  std::vector<std::pair<std::size_t, double>> min_fields;  // of groups; where it stands in kFields
  std::vector<std::pair<std::size_t, double>> max_causes;  // of frames; where it stands in kCauses
  std::vector<std::pair<std::string, double>> min_slices;  // "COLUMN" or "COLUMN:VALUE"; of groups
  int max_unlabelled = 0;                                  // groups without an expected text
  int max_broken = 0;                                      // with a base run
  bool lower_bound = false;  // the worse end of the 95 % interval has to hold, not the value
};

// "95%" as 0.95, and "kana=98%" as its two sides. Throw std::runtime_error that quotes the text.
double parse_share(const std::string& text);
std::pair<std::string, double> parse_named_share(const std::string& text);

// By name. Throw std::runtime_error that lists the names.
std::size_t field_named(const std::string& key);
std::size_t cause_named(const std::string& key);

struct GateLine {
  std::string rule;  // "groups correct at least 95 %"
  bool holds;
  std::string found;  // "41 of 42, 97.6 % (87.7 to 99.6)"
};

struct GateVerdict {
  std::vector<GateLine> lines;
  bool of_rules = false;  // else nothing was asked but what always has to hold

  bool passes() const;
};

// The first lines are that the run is whole and labelled, and how many of its groups are not; then
// come the rules, and then the same of `base`; null without one.
// Throws std::runtime_error if a rule names a column or a value that the slices do not have.
GateVerdict judge_release(const RecordedRun& run, const Assessment& assessment,
                          const Slices& slices, const ComparedRuns* compared,
                          const GateRules& rules);

}  // namespace kavrel::report

#endif
