#include "report/run.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "app/base/text.h"
#include "reading/status.h"
#include "report/csv_file.h"
#include "report/unicode.h"
#include "report/wording.h"

namespace kavrel::report {
namespace {

namespace fs = std::filesystem;

const CsvRow kFrameHeader = {"group_id", "image_path", "expected", "final_plate_number",
                             "status",   "region",     "class_no", "kana",
                             "serial",   "ocr_texts"};
const CsvRow kGroupHeader = {"group_id", "expected", "final_plate_number",
                             "status",   "region",   "class_no",
                             "kana",     "serial",   "frame_count"};

constexpr const char* kFrameFile = "frame_summary.csv";
constexpr const char* kGroupFile = "summary.csv";
constexpr const char* kTotalsFile = "FINAL_RESULT.json";

// The rows of a file without its header and without those that are no rows of it; nothing without
// the file.
std::optional<std::vector<CsvRow>> read_rows(const std::string& dir, const std::string& name,
                                             const CsvRow& header,
                                             std::vector<std::string>& notices) {
  auto file = read_csv(dir + "/" + name);
  if (!file) return std::nullopt;
  if (file->cut) notices.push_back(name + ": the last row is cut and left out.");
  auto& rows = file->rows;
  if (rows.empty() || rows.front() != header) {
    throw std::runtime_error(dir + "/" + name + " does not begin with kavrel's header");
  }
  rows.erase(rows.begin());
  const auto damaged = std::remove_if(rows.begin(), rows.end(),
                                      [&](const auto& row) { return row.size() != header.size(); });
  const auto count = static_cast<std::size_t>(rows.end() - damaged);
  if (count > 0) notices.push_back(name + ": " + count_of(count, "damaged row") + " left out.");
  rows.erase(damaged, rows.end());
  return std::move(rows);
}

FrameResult frame_of(const CsvRow& row) {
  return {
      row[1], row[2], row[0], {row[5], row[6], row[7], row[8], row[3]}, split_ocr_texts(row[9])};
}

std::vector<FrameResult> frames_of(const std::vector<CsvRow>& rows,
                                   std::vector<std::string>& notices) {
  std::vector<FrameResult> frames;
  std::size_t other_status = 0;
  std::size_t without_source = 0;
  for (const CsvRow& row : rows) {
    frames.push_back(frame_of(row));
    if (plate_status(row[2], row[3]) != row[4]) ++other_status;
    if (frames.back().ocr_texts.empty() && !row[9].empty()) ++without_source;
  }
  if (other_status > 0) {
    notices.push_back(count_of(other_status, "frame") +
                      " recorded with a status that does not follow from expected and read.");
  }
  if (without_source > 0) {
    notices.push_back(count_of(without_source, "frame") + " with readings that name no source.");
  }
  return frames;
}

std::vector<Group> vote_groups(const std::vector<FrameResult>& frames) {
  std::map<std::string, std::vector<std::size_t>> indices;
  for (std::size_t i = 0; i < frames.size(); ++i) indices[frames[i].group_id].push_back(i);
  std::vector<Group> groups;
  for (auto& [group_id, members] : indices) {
    std::vector<FrameResult> group_frames;
    for (const std::size_t i : members) group_frames.push_back(frames[i]);
    groups.push_back({vote_group(group_frames), std::move(members)});
  }
  return groups;
}

GroupResult group_of(const CsvRow& row) {
  const bool is_count = !row[8].empty() && row[8].size() < 9 &&
                        std::all_of(row[8].begin(), row[8].end(), is_ascii_digit);
  return {
      row[0], row[1], {row[4], row[5], row[6], row[7], row[2]}, is_count ? std::stoi(row[8]) : 0};
}

bool same(const GroupResult& a, const GroupResult& b) {
  return a.group_id == b.group_id && a.expected == b.expected && a.frame_count == b.frame_count &&
         a.fields.final_plate_number == b.fields.final_plate_number;
}

void compare_with_summary(const std::vector<CsvRow>& rows, RecordedRun& run) {
  std::set<std::string> differing;
  std::map<std::string, GroupResult> written;
  for (const CsvRow& row : rows) written[row[0]] = group_of(row);
  for (const Group& group : run.groups) {
    const auto row = written.find(group.result.group_id);
    if (row == written.end() || !same(row->second, group.result)) {
      differing.insert(group.result.group_id);
    }
    if (row != written.end()) written.erase(row);
  }
  for (const auto& [group_id, result] : written) differing.insert(group_id);
  if (differing.empty()) return;
  run.notices.push_back("summary.csv tells otherwise of " + count_of(differing.size(), "group") +
                        ", " + printable(*differing.begin()) +
                        " the first: it belongs to an earlier run, or a file was cut or edited. "
                        "The figures here follow frame_summary.csv.");
}

struct Totals {
  std::string input_mode;
  std::size_t frames;
  std::size_t groups;
};

// Nothing if the file is missing or no JSON of kavrel.
std::optional<Totals> read_totals(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  try {
    const auto json = nlohmann::json::parse(text);
    return Totals{json.at("input_mode"), json.at("frame_total"), json.at("group_total")};
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

void compare_with_totals(RecordedRun& run) {
  const std::string path = run.dir + "/" + kTotalsFile;
  const auto totals = read_totals(path);
  if (totals) {
    run.input_mode = printable(totals->input_mode);
    if (totals->frames == run.frames.size() && totals->groups == run.groups.size()) return;
    run.notices.push_back("FINAL_RESULT.json counts " + count_of(totals->frames, "frame") +
                          " and " + count_of(totals->groups, "group") + ", the rows are those of " +
                          count_of(run.frames.size(), "frame") + " and " +
                          count_of(run.groups.size(), "group") + ".");
  } else if (fs::exists(path)) {
    run.notices.emplace_back("FINAL_RESULT.json cannot be read.");
  }
}

std::string utc_time(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return "";
  std::array<char, 32> text{};
  std::tm time{};
  gmtime_r(&status.st_mtime, &time);
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &time);
  return text.data();
}

// Frames whose case directory a later case of the same name took.
std::set<std::size_t> overwritten_frames(const std::vector<FrameResult>& frames) {
  std::map<std::string, std::size_t> owners;
  std::set<std::size_t> overwritten;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto [owner, is_new] = owners.emplace(case_name(frames[i]), i);
    if (!is_new) overwritten.insert(std::exchange(owner->second, i));
  }
  return overwritten;
}

void take_frames(const std::vector<CsvRow>& rows, RecordedRun& run) {
  run.frames = frames_of(rows, run.notices);
  run.groups = vote_groups(run.frames);
  run.overwritten = overwritten_frames(run.frames);
  if (run.overwritten.empty()) return;
  run.notices.push_back(count_of(run.overwritten.size(), "frame") +
                        " whose pictures were overwritten by a later image of the same file name.");
}

void take_groups(const std::vector<CsvRow>& rows, RecordedRun& run) {
  run.notices.emplace_back("There is no frame_summary.csv: only the groups are known.");
  for (const CsvRow& row : rows) run.groups.push_back({group_of(row), {}});
}

}  // namespace

std::string case_name(const FrameResult& frame) { return basename_no_ext(frame.image_path); }

RecordedRun read_run(const std::string& dir) {
  if (!fs::is_directory(dir)) throw std::runtime_error("there is no directory " + dir);
  RecordedRun run;
  run.dir = dir;
  const auto frame_rows = read_rows(dir, kFrameFile, kFrameHeader, run.notices);
  const auto group_rows = read_rows(dir, kGroupFile, kGroupHeader, run.notices);
  if (!frame_rows && !group_rows) {
    throw std::runtime_error("no output of kavrel: neither frame_summary.csv nor summary.csv in " +
                             dir);
  }
  run.ended = utc_time(dir + "/" + (frame_rows ? kFrameFile : kGroupFile));
  if (!frame_rows) {
    take_groups(*group_rows, run);
    return run;
  }
  take_frames(*frame_rows, run);
  if (group_rows) {
    compare_with_summary(*group_rows, run);
  } else {
    run.notices.push_back("The run did not finish, there is no summary.csv: these are the " +
                          count_of(run.frames.size(), "frame") +
                          " that it read before, and the last group may lack some.");
  }
  compare_with_totals(run);
  return run;
}

}  // namespace kavrel::report
