// What a run of kavrel left in its output directory.
#ifndef KAVREL_REPORT_RUN_RUN_H
#define KAVREL_REPORT_RUN_RUN_H

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/base/whole_run.h"
#include "reading/frame_result.h"
#include "reading/group_vote.h"
#include "report/run/run_log.h"

namespace kavrel::report {

struct Group {
  GroupResult result;
  std::vector<std::size_t> frames;  // in case order
};

// Why no verdict may rest on a run.
struct Fault {
  const char* key;   // "aborted", "cut", "mixed", "empty" or "unlabelled"
  std::string text;  // a sentence
};

struct RecordedRun {
  std::string dir;
  std::string ended;                  // when its last case ended, as 2024-05-01T12:00:00 in UTC
  std::string input_mode;             // "" if unknown
  bool used_plate_det = true;         // unless the run says that it was not
  std::vector<FrameResult> frames;    // in case order
  std::vector<Group> groups;          // in byte order of their ids
  std::set<std::size_t> overwritten;  // frames whose pictures a later case of the same name took
  // What a reader of the figures must know: the run was aborted, a row was cut, files disagree.
  std::vector<std::string> notices;
  std::vector<Fault> faults;  // whose sentences stand in the notices, too
  std::optional<RunLog> log;
};

// Groups are voted from the frames, as a run does when it ends; summary.csv and FINAL_RESULT.json
// are compared with that. Without frame_summary.csv the groups are those of summary.csv. Throws
// std::runtime_error if the directory holds neither, or a file has another header than kavrel's.
// The files of all cases are opened only at the full depth. With a list, which the run is said to
// have read, other rows than its are a fault.
RecordedRun read_run(const std::string& dir, RunDepth depth = RunDepth::kAll,
                     const std::vector<CaseItem>* list = nullptr);

// The frame's directory in cases/.
std::string case_name(const FrameResult& frame);

// The readings behind "source:text / source:text". A text may itself hold " / ": a new reading
// begins only where a source follows.
std::vector<OcrText> split_ocr_texts(const std::string& ocr_texts);

}  // namespace kavrel::report

#endif
