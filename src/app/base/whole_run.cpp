#include "app/base/whole_run.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <unordered_map>

#include "app/base/csv_records.h"
#include "app/base/output_format.h"

namespace kavrel {
namespace {

namespace fs = std::filesystem;
namespace column = output::column;

struct GroupRows {
  std::string expected;  // of its first frame
  std::size_t frames = 0;
};

// What the rows of frame_summary.csv say of the files beside it.
struct FrameRows {
  std::size_t rows = 0;
  std::size_t correct = 0;
  std::map<std::string, GroupRows> groups;
  std::unordered_map<std::string, std::size_t> last_of_case;  // by the name of its directory
};

class Check {
 public:
  Check(const std::string& dir, const std::vector<CaseItem>* list) : dir_(dir), list_(list) {}

  RunCheck run(RunDepth depth) {
    check_table(output::kFrameSummary, output::kFrameColumns,
                [this](const output::Row& row) { take_frame(row); });
    if (list_ != nullptr && list_->size() != frames_.rows) {
      fault(RunFaultKind::kMixed, output::kFrameSummary,
            "has " + std::to_string(frames_.rows) + " rows, the list has " +
                std::to_string(list_->size()));
    }
    if (!result_.faults.empty()) {  // all else would differ for that alone
      check_existence(output::kGroupSummary);
      check_existence(output::kFinalResult);
      return result_;
    }
    group_ = frames_.groups.begin();
    check_table(output::kGroupSummary, output::kGroupColumns,
                [this](const output::Row& row) { take_group(row); });
    if (result_.faults.empty() && group_ != frames_.groups.end()) {
      fault(RunFaultKind::kMixed, output::kGroupSummary, "has no row of group " + group_->first);
    }
    check_totals();
    if (depth == RunDepth::kAll) check_cases();
    return result_;
  }

 private:
  void fault(RunFaultKind kind, const std::string& where, const std::string& what) {
    result_.faults.push_back({kind, where + " " + what});
  }

  bool check_existence(const char* name) {
    if (fs::exists(dir_ + "/" + name)) return true;
    fault(RunFaultKind::kAborted, name, "is missing: the run did not finish");
    return false;
  }

  template <typename Take>
  void check_table(const char* name, output::Columns columns, Take take) {
    if (!check_existence(name)) return;
    CsvRecords records(dir_ + "/" + name);
    std::string record;
    try {
      if (!records.next(record)) {
        fault(RunFaultKind::kCut, name, "is empty: was the disk full?");
        return;
      }
      if (record != output::csv_header(columns)) {
        fault(RunFaultKind::kCut, name, "does not begin with kavrel's header");
        return;
      }
      while (records.next(record)) {
        const std::vector<std::string> cells = csv_cells(record);
        if (cells.size() != columns.size()) {
          fault(RunFaultKind::kCut, name, "has a damaged row: " + record.substr(0, 80));
          return;
        }
        take(output::make_row(columns, cells));
      }
    } catch (const std::runtime_error&) {
      fault(RunFaultKind::kCut, name, "cannot be read to its end, or is cut");
    }
  }

  void take_frame(const output::Row& row) {
    const std::size_t index = frames_.rows++;
    if (list_ != nullptr && index < list_->size()) {
      const CaseItem& item = (*list_)[index];
      if (row.at(column::kImagePath) != item.image_path ||
          row.at(column::kExpected) != item.expected || row.at(column::kGroupId) != item.group_id) {
        fault(RunFaultKind::kMixed, output::kFrameSummary,
              "has in row " + std::to_string(index + 1) + " " + row.at(column::kImagePath) +
                  ", the list has " + item.image_path + ", or another group or expected text");
      }
    }
    if (row.at(column::kStatus) == output::status::kCorrect) ++frames_.correct;
    GroupRows& group = frames_.groups[row.at(column::kGroupId)];
    if (group.frames++ == 0) group.expected = row.at(column::kExpected);
    frames_.last_of_case[output::case_name(row.at(column::kImagePath))] = index;
  }

  // Both walk in byte order of the ids.
  void take_group(const output::Row& row) {
    ++group_rows_;
    if (row.at(column::kStatus) == output::status::kCorrect) ++groups_correct_;
    if (!result_.faults.empty()) return;  // one tells that the table is of another run
    if (group_ == frames_.groups.end()) {
      fault(RunFaultKind::kMixed, output::kGroupSummary,
            "has group " + row.at(column::kGroupId) + ", of no frame");
      return;
    }
    const auto& [id, group] = *group_++;
    if (row.at(column::kGroupId) != id || row.at(column::kExpected) != group.expected ||
        row.at(column::kFrameCount) != std::to_string(group.frames)) {
      fault(RunFaultKind::kMixed, output::kGroupSummary,
            "tells otherwise of group " + row.at(column::kGroupId) + " than the frames of " + id);
    }
  }

  void check_totals() {
    if (!check_existence(output::kFinalResult)) return;
    const auto totals = read_final_result(text_of(dir_ + "/" + output::kFinalResult));
    if (!totals) {
      fault(RunFaultKind::kCut, output::kFinalResult, "is cut or edited");
      return;
    }
    result_.totals = *totals;
    const bool same =
        totals->frame_total == frames_.rows &&
        totals->frame_correct == static_cast<int>(frames_.correct) &&
        totals->frame_check_or_failed == static_cast<int>(frames_.rows - frames_.correct) &&
        totals->group_total == group_rows_ &&
        totals->group_correct == static_cast<int>(groups_correct_) &&
        totals->group_check_or_failed == static_cast<int>(group_rows_ - groups_correct_);
    if (!same && result_.faults.empty()) {
      fault(RunFaultKind::kMixed, output::kFinalResult, "counts otherwise than the tables");
    }
  }

  // The files of every case that no later one of its name took, by a second walk over the rows:
  // all of them at once need not fit into memory.
  void check_cases() {
    if (!result_.faults.empty()) return;  // the rows are not to be trusted
    CsvRecords records(dir_ + "/" + output::kFrameSummary);
    std::string record;
    records.next(record);
    for (std::size_t i = 0; records.next(record); ++i) {
      const output::Row row = output::make_row(output::kFrameColumns, csv_cells(record));
      const std::string& image = row.at(column::kImagePath);
      if (frames_.last_of_case.at(output::case_name(image)) == i) check_case(row);
    }
    for (const auto& entry : fs::directory_iterator(dir_ + "/" + output::kCases)) {
      const std::string name = entry.path().filename();
      if (entry.is_directory() && frames_.last_of_case.count(name) == 0) {
        fault(RunFaultKind::kMixed, std::string(output::kCases) + "/" + name,
              "is of no row: it is of another run");
      }
    }
  }

  void check_case(const output::Row& row) {
    const std::string case_dir = output::case_dir(dir_, row.at(column::kImagePath));
    const std::string name = case_dir.substr(dir_.size() + 1);
    if (text_of(case_dir + "/" + output::kResultTxt) != output::result_txt(row)) {
      fault(RunFaultKind::kCut, name + "/" + output::kResultTxt,
            "is missing, cut or of another run");
    }
    if (text_of(case_dir + "/" + output::kResultJson) != output::result_json(row)) {
      fault(RunFaultKind::kCut, name + "/" + output::kResultJson,
            "is missing, cut or of another run");
    }
    if (!fs::is_directory(case_dir)) return;
    for (const auto& entry : fs::directory_iterator(case_dir)) {
      if (entry.path().extension() == ".jpg" && !is_whole_jpeg(entry.path())) {
        fault(RunFaultKind::kCut, name + "/" + entry.path().filename().string(), "is empty or cut");
      }
    }
  }

  // "" for a file that cannot be read.
  static std::string text_of(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  static bool is_whole_jpeg(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string ends(4, ' ');
    file.read(&ends[0], 2);
    file.seekg(-2, std::ios::end);
    file.read(&ends[2], 2);
    return file.good() && ends == "\xFF\xD8\xFF\xD9";
  }

  const std::string& dir_;
  const std::vector<CaseItem>* list_;
  FrameRows frames_;
  std::map<std::string, GroupRows>::const_iterator group_;
  std::size_t group_rows_ = 0;
  std::size_t groups_correct_ = 0;
  RunCheck result_;
};

}  // namespace

RunCheck check_whole_run(const std::string& dir, const std::vector<CaseItem>* list,
                         RunDepth depth) {
  return Check(dir, list).run(depth);
}

}  // namespace kavrel
