#include "app/final_report.h"

#include <fstream>
#include <iostream>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "app/base/output_format.h"
#include "app/base/run_totals.h"
#include "reading/group_vote.h"

namespace kavrel {
namespace {

using Groups = std::map<std::string, std::vector<FrameResult>>;

Groups group_frames(std::vector<FrameResult> frames) {
  Groups groups;
  for (FrameResult& frame : frames) groups[frame.group_id].push_back(std::move(frame));
  return groups;
}

output::Row row_of(const GroupResult& group, const std::string& status) {
  return {{output::column::kGroupId, group.group_id},
          {output::column::kExpected, group.expected},
          {output::column::kFinalPlateNumber, group.fields.final_plate_number},
          {output::column::kStatus, status},
          {output::column::kRegion, group.fields.region},
          {output::column::kClassNo, group.fields.class_no},
          {output::column::kKana, group.fields.kana},
          {output::column::kSerial, group.fields.serial},
          {output::column::kFrameCount, std::to_string(group.frame_count)}};
}

StatusCounts write_summary_csv(const Groups& groups, const std::string& path) {
  StatusCounts counts;
  std::ofstream file(path);
  file << output::csv_header(output::kGroupColumns) << '\n';
  for (const auto& [group_id, frames] : groups) {
    const GroupResult group = vote_group(frames);
    const std::string status = plate_status(group.expected, group.fields.final_plate_number);
    counts.add(status);
    file << output::csv_line(output::kGroupColumns, row_of(group, status)) << '\n';
  }
  return counts;
}

}  // namespace

int report_run(FinishedRun run) {
  const std::string& output_dir = run.args.output_dir;
  RunTotals totals;
  totals.input_mode = run.args.input_mode;
  totals.use_plate_det = run.use_plate_det;
  totals.frame_total = run.frames.size();
  totals.frame_correct = run.frame_counts.correct;
  totals.frame_check_or_failed = run.frame_counts.check_or_failed;
  const Groups groups = group_frames(std::move(run.frames));
  const StatusCounts counts = write_summary_csv(groups, output_dir + "/" + output::kGroupSummary);
  totals.group_total = groups.size();
  totals.group_correct = counts.correct;
  totals.group_check_or_failed = counts.check_or_failed;
  std::ofstream(output_dir + "/" + output::kFinalResult) << final_result_json(totals, output_dir);
  std::cout << final_result_block(totals, output_dir) << std::flush;
  return exit_status_of(totals, run.args.fail_on_error);
}

}  // namespace kavrel
