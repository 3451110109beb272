#include "app/base/run_totals.h"

#include <algorithm>
#include <exception>
#include <map>
#include <sstream>

#include "app/base/output_format.h"
#include "app/base/text.h"

namespace kavrel {
namespace {

constexpr int kExitSuccess = 0;
constexpr int kExitGroupsNotCorrect = 2;

std::string true_or_false(bool flag) { return flag ? "true" : "false"; }

// The members of a flat object that json_object made; a text is taken without its quotes.
std::map<std::string, std::string> members_of(const std::string& json) {
  std::map<std::string, std::string> members;
  std::istringstream lines(json);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t key_end = line.find("\": ");
    if (line.rfind("  \"", 0) != 0 || key_end == std::string::npos) continue;
    std::string value = line.substr(key_end + 3);
    if (!value.empty() && value.back() == ',') value.pop_back();
    if (value.size() > 1 && value.front() == '"') value = value.substr(1, value.size() - 2);
    members[line.substr(3, key_end - 3)] = value;
  }
  return members;
}

// Throws std::exception for what is no count.
std::size_t count_of(const std::string& digits) {
  if (!std::all_of(digits.begin(), digits.end(), is_ascii_digit)) throw std::exception();
  return std::stoul(digits);
}

// What stands before the file's name in its path; the path is escaped as JSON has it.
std::string directory_of(const std::string& path, const char* name) {
  const std::string end = std::string("/") + name;
  const bool ends = path.size() >= end.size() && path.substr(path.size() - end.size()) == end;
  return ends ? path.substr(0, path.size() - end.size()) : path;
}

}  // namespace

std::string final_result_json(const RunTotals& totals, const std::string& output_dir) {
  return json_object({
      {output::total::kInputMode, json_string(totals.input_mode)},
      {output::total::kUsePlateDet, true_or_false(totals.use_plate_det)},
      {output::total::kFrameTotal, std::to_string(totals.frame_total)},
      {output::total::kFrameCorrect, std::to_string(totals.frame_correct)},
      {output::total::kFrameCheckOrFailed, std::to_string(totals.frame_check_or_failed)},
      {output::total::kGroupTotal, std::to_string(totals.group_total)},
      {output::total::kGroupCorrect, std::to_string(totals.group_correct)},
      {output::total::kGroupCheckOrFailed, std::to_string(totals.group_check_or_failed)},
      {output::total::kFrameSummaryCsv, json_string(output_dir + "/" + output::kFrameSummary)},
      {output::total::kSummaryCsv, json_string(output_dir + "/" + output::kGroupSummary)},
  });
}

std::string final_result_block(const RunTotals& totals, const std::string& output_dir) {
  std::ostringstream block;
  block << "========== FINAL_RESULT ==========\n"
        << "input_mode=" << totals.input_mode
        << " use_plate_det=" << true_or_false(totals.use_plate_det)
        << "\nframe_total=" << totals.frame_total << " frame_correct=" << totals.frame_correct
        << " frame_check_or_failed=" << totals.frame_check_or_failed
        << "\ngroup_total=" << totals.group_total << " group_correct=" << totals.group_correct
        << " group_check_or_failed=" << totals.group_check_or_failed << "\nsummary=" << output_dir
        << "/" << output::kGroupSummary << "\n";
  return block.str();
}

std::optional<RunTotals> read_final_result(const std::string& json) {
  auto members = members_of(json);
  RunTotals totals;
  try {
    totals.input_mode = members.at(output::total::kInputMode);
    totals.use_plate_det = members.at(output::total::kUsePlateDet) == true_or_false(true);
    totals.frame_total = count_of(members.at(output::total::kFrameTotal));
    totals.frame_correct = static_cast<int>(count_of(members.at(output::total::kFrameCorrect)));
    totals.frame_check_or_failed =
        static_cast<int>(count_of(members.at(output::total::kFrameCheckOrFailed)));
    totals.group_total = count_of(members.at(output::total::kGroupTotal));
    totals.group_correct = static_cast<int>(count_of(members.at(output::total::kGroupCorrect)));
    totals.group_check_or_failed =
        static_cast<int>(count_of(members.at(output::total::kGroupCheckOrFailed)));
  } catch (const std::exception&) {
    return std::nullopt;
  }
  // Made anew it must be the same to the byte, in whatever directory the run wrote.
  const std::string dir = directory_of(members[output::total::kSummaryCsv], output::kGroupSummary);
  std::string again = final_result_json(totals, "");
  for (const char* name : {output::kFrameSummary, output::kGroupSummary}) {
    again.insert(again.find(std::string("\"/") + name) + 1, dir);
  }
  if (again != json) return std::nullopt;
  return totals;
}

int exit_status_of(const RunTotals& totals, bool fail_on_error) {
  const bool failed = fail_on_error && totals.group_check_or_failed > 0;
  return failed ? kExitGroupsNotCorrect : kExitSuccess;
}

}  // namespace kavrel
