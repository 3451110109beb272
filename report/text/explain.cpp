#include "report/text/explain.h"

#include <stdexcept>

#include "app/base/text.h"
#include "reading/status.h"
#include "report/assessment/decision.h"
#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

std::string or_none(const std::string& text) { return text.empty() ? "(none)" : printable(text); }

std::string votes_text(const FieldTallies& tallies) {
  std::vector<std::string> parts;
  for (const Field& field : kFields) {
    for (const Candidate& candidate : ranking(tallies, field)) {
      parts.push_back(std::string(field.key) + " " + printable(candidate.value) + " +" +
                      std::to_string(candidate.votes));
    }
  }
  return parts.empty() ? "no vote" : join_strings(parts, ", ");
}

std::string ranking_text(const FieldTallies& totals, const Field& field) {
  std::vector<std::string> parts;
  for (const Candidate& candidate : ranking(totals, field)) {
    parts.push_back(printable(candidate.value) + " " + std::to_string(candidate.votes));
  }
  return parts.empty() ? "no vote" : join_strings(parts, ", ");
}

void explain_outcome(const FrameResult& frame, const FrameDecision& decision, std::ostream& out) {
  if (decision.plate.exchanged) {
    out << "Class number and serial were exchanged: the upper row shows the latter more often.\n";
  }
  if (decision.kana_from_fallback) {
    out << "The kana " << printable(frame.fields.kana)
        << " was found by the fallback search, no reading had one; its votes are in the run's log "
           "only.\n";
  }
  if (!decision.as_recorded) {
    out << "This vote gives \"" << printable(decision.plate.fields.final_plate_number)
        << "\", not what the run recorded: did it use other region words (--dict-region)?\n";
  }
}

void explain_frame(const FrameResult& frame, const std::vector<std::string>& region_words,
                   std::ostream& out) {
  const FrameDecision decision = decide_frame(frame, region_words);
  out << "Case " << printable(case_name(frame)) << ", image " << printable(frame.image_path)
      << ", group " << printable(frame.group_id) << '\n'
      << "  expected  " << or_none(frame.expected) << '\n'
      << "  read      " << or_none(frame.fields.final_plate_number) << "  ("
      << plate_status(frame.expected, frame.fields.final_plate_number) << ")\n\nVotes of the "
      << frame.ocr_texts.size() << " readings\n";
  for (std::size_t i = 0; i < frame.ocr_texts.size(); ++i) {
    const OcrText& reading = frame.ocr_texts[i];
    out << "  " << printable(reading.source) << ": " << printable(reading.text) << "  ->  "
        << votes_text(decision.plate.votes[i]) << '\n';
  }
  out << "\nTotals, the first of each field is taken\n";
  for (const Field& field : kFields) {
    out << "  " << field.key << ": " << ranking_text(decision.plate.totals, field) << '\n';
  }
  explain_outcome(frame, decision, out);
}

}  // namespace

void explain(const RecordedRun& run, const std::string& name,
             const std::vector<std::string>& region_words, std::ostream& out) {
  bool found = false;
  for (const FrameResult& frame : run.frames) {
    if (frame.image_path != name && case_name(frame) != name) continue;
    if (found) out << '\n';
    found = true;
    explain_frame(frame, region_words, out);
  }
  if (!found) throw std::runtime_error("no case " + name + " in " + run.dir);
}

}  // namespace kavrel::report
