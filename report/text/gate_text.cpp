#include "report/text/gate_text.h"

#include "report/base/unicode.h"
#include "report/base/wording.h"
#include "report/text/json_parts.h"

namespace kavrel::report {
namespace {

// What would end a cell or begin markup stands behind a backslash.
std::string cell(const std::string& text) {
  std::string escaped;
  for (const char byte : printable(text)) {
    if (std::string("\\|*_`<>[]~#").find(byte) != std::string::npos) escaped += '\\';
    escaped += byte;
  }
  return escaped;
}

const char* outcome_of(const GateVerdict& verdict) {
  if (!verdict.passes()) return "The run does not pass.";
  return verdict.of_rules ? "The run passes."
                          : "The run passes, but no rule asks how much of it is right.";
}

void write_rules(const GateVerdict& verdict, std::ostream& out) {
  out << "| | Rule | Found |\n|---|---|---|\n";
  for (const GateLine& line : verdict.lines) {
    out << "| " << (line.holds ? "✅ holds" : "❌ fails") << " | " << cell(line.rule) << " | "
        << cell(line.found) << " |\n";
  }
}

std::string accuracy(const OutcomeCounts& counts) {
  const auto interval = wilson_interval(counts.share());
  return std::to_string(counts.correct) + " of " + std::to_string(counts.total()) +
         (interval ? ", " + percent_of(interval) + " " + range_of(interval) : "");
}

void write_slices(const Slices& slices, std::ostream& out) {
  for (const Slice& slice : slices.columns) {
    out << "\n| " << cell(slice.column) << " | Groups correct | Frames correct |\n|---|---|---|\n";
    for (const SliceValue& value : slice.values) {
      out << "| " << (value.value.empty() ? "(nothing)" : cell(value.value)) << " | "
          << accuracy(value.groups) << " | " << accuracy(value.frames) << " |\n";
    }
  }
}

void write_causes(const Assessment& assessment, std::ostream& out) {
  bool any = false;
  for (std::size_t i = 0; i < kCauses.size(); ++i) {
    if (assessment.frames_by_cause[i] == 0) continue;
    if (!any) out << "\n| Cause | Frames | Groups |\n|---|---|---|\n";
    any = true;
    out << "| " << cell(kCauses[i].name) << " | " << assessment.frames_by_cause[i] << " | "
        << assessment.groups_by_cause[i] << " |\n";
  }
}

}  // namespace

void print_gate(const GateVerdict& verdict, std::ostream& out) {
  for (const GateLine& line : verdict.lines) {
    out << (line.holds ? "holds  " : "fails  ") << line.rule << ": " << line.found << '\n';
  }
  out << outcome_of(verdict) << '\n';
}

void write_gate_markdown(const JudgedRun& judged, std::ostream& out) {
  out << "### kavrel: " << outcome_of(judged.verdict) << "\n\n";
  write_rules(judged.verdict, out);
  write_slices(judged.slices, out);
  write_causes(judged.assessment, out);
  out << "\n<details><summary>What was run</summary>\n\n| | |\n|---|---|\n";
  for (const Fact& fact : facts_of(judged.run.log)) {
    out << "| " << cell(fact.name) << " | " << cell(fact.value) << " |\n";
  }
  out << "\n</details>\n";
}

void write_gate_json(const JudgedRun& judged, std::ostream& out) {
  Json rules = Json::array();
  for (const GateLine& line : judged.verdict.lines) {
    rules.push_back(
        {{"rule", printable(line.rule)}, {"holds", line.holds}, {"found", printable(line.found)}});
  }
  const Json json = {{"passes", judged.verdict.passes()},
                     {"rules", rules},
                     {"slices", json_of(judged.slices)},
                     {"run", json_of_run(judged.run)}};
  out << json.dump(2) << '\n';
}

}  // namespace kavrel::report
