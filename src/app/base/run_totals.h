// What a whole run counted, as FINAL_RESULT.json and the FINAL_RESULT block show it.
#ifndef KAVREL_APP_BASE_RUN_TOTALS_H
#define KAVREL_APP_BASE_RUN_TOTALS_H

#include <optional>
#include <string>

namespace kavrel {

struct RunTotals {
  std::string input_mode;
  bool use_plate_det = false;
  std::size_t frame_total = 0;
  int frame_correct = 0;
  int frame_check_or_failed = 0;
  std::size_t group_total = 0;
  int group_correct = 0;
  int group_check_or_failed = 0;
};

// FINAL_RESULT.json and the block on standard output, of a run into this directory.
std::string final_result_json(const RunTotals& totals, const std::string& output_dir);
std::string final_result_block(const RunTotals& totals, const std::string& output_dir);

// The totals of a FINAL_RESULT.json; nothing if the text is not what final_result_json makes.
std::optional<RunTotals> read_final_result(const std::string& json);

// The exit status of a finished run: 2 if it is to fail on groups that are not "correct" and there
// are some, else 0.
int exit_status_of(const RunTotals& totals, bool fail_on_error);

}  // namespace kavrel

#endif
