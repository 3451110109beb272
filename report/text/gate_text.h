// The verdict on a release as text, and for a merge request as Markdown and JSON.
#ifndef KAVREL_REPORT_TEXT_GATE_TEXT_H
#define KAVREL_REPORT_TEXT_GATE_TEXT_H

#include <ostream>

#include "report/assessment/gate.h"

namespace kavrel::report {

// What was judged.
struct JudgedRun {
  const RecordedRun& run;
  const Assessment& assessment;
  const Slices& slices;
  const GateVerdict& verdict;
};

// One line for each rule, and one that sums them up.
void print_gate(const GateVerdict& verdict, std::ostream& out);

void write_gate_markdown(const JudgedRun& judged, std::ostream& out);
void write_gate_json(const JudgedRun& judged, std::ostream& out);

}  // namespace kavrel::report

#endif
