#include "shard/merge.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <queue>
#include <set>
#include <stdexcept>
#include <vector>

#include "app/base/case_list.h"
#include "app/base/csv_records.h"
#include "app/base/files.h"
#include "app/base/log.h"
#include "app/base/output_format.h"
#include "app/base/run_totals.h"
#include "app/base/text.h"
#include "shard/job.h"
#include "shard/merged_log.h"
#include "shard/result.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;

constexpr int kExitFailure = 1;
constexpr int kExitLeftOut = 4;

std::string shard_name(std::size_t number) { return "shard " + std::to_string(number); }

// A result whose files are listed in shard.json on the disk: those of all shards need not fit into
// memory.
struct Part {
  bool left_out = false;  // all of it: there is no output
  Result result;
  std::size_t rows = 0, groups = 0;  // in its output
  RunTotals totals;
};

struct Job {
  std::string root;
  Plan plan;
  std::vector<Part> parts;                // of each shard
  std::set<std::string> left_out_groups;  // of all shards
  std::vector<std::string> findings;

  std::string output_of(std::size_t number) const {
    return result_of(root, number) + "/" + kOutput;
  }
  void find(std::size_t number, const std::string& what) {
    findings.push_back(shard_name(number) + " " + what);
  }
};

void check_kept(const std::string& path, const std::string& hash, Job& job) {
  if (!file_exists(path) || sha256_of_file(path) != hash) {
    job.findings.push_back("not what was planned: " + path);
  }
}

// Whether every shard was run with the same program and runtime as the first.
void check_same(Job& job) {
  const Part* first = nullptr;
  std::size_t first_number = 0;
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    const Part& part = job.parts[number - 1];
    if (part.left_out || part.result.plan.empty()) continue;
    if (first == nullptr) {
      first = &part;
      first_number = number;
      continue;
    }
    const auto differ = [&](const std::string& a, const std::string& b, const char* what) {
      if (a != b) {
        job.find(number, std::string("was run with another ") + what + " than " +
                             shard_name(first_number) + ": remove the result of one of them");
      }
    };
    differ(part.result.version, first->result.version, "version of kavrel");
    differ(part.result.kavrel_sha256, first->result.kavrel_sha256, "kavrel");
    differ(part.result.runtime_sha256, first->result.runtime_sha256, "librknnrt.so");
  }
}

// Goes through the cases of the list with the shard of each.
template <typename Take>
void for_each_case(const Job& job, Take take) {
  CaseReader list(job.root + "/" + kListFile);
  std::ifstream rows(job.root + "/" + kRowsFile);
  std::size_t number = 0;
  for (CaseItem item; list.next(item) && rows >> number;) take(item, number);
}

// Which groups are not in the outputs: those of shards without one, and those of pictures that
// cannot be read.
void find_left_out_groups(Job& job) {
  std::vector<std::size_t> seen(job.parts.size(), 0);
  for_each_case(job, [&](const CaseItem& item, std::size_t number) {
    const Part& part = job.parts.at(number - 1);
    const std::vector<std::size_t>& unreadable = part.result.unreadable_rows;
    const std::size_t row = seen[number - 1]++;
    if (part.left_out || std::count(unreadable.begin(), unreadable.end(), row) > 0) {
      job.left_out_groups.insert(item.group_id);
    }
  });
}

// What the output of each shard must count.
void count_outputs(Job& job) {
  for (std::size_t i = 0; i < job.parts.size(); ++i) {
    job.parts[i].rows = job.plan.shards[i].rows;
    job.parts[i].groups = job.plan.shards[i].groups;
  }
  if (job.left_out_groups.empty()) return;
  std::set<std::string> counted;
  for_each_case(job, [&](const CaseItem& item, std::size_t number) {
    if (job.left_out_groups.count(item.group_id) == 0) return;
    --job.parts.at(number - 1).rows;
    if (counted.insert(item.group_id).second) --job.parts[number - 1].groups;
  });
}

void read_totals(std::size_t number, Job& job) {
  Part& part = job.parts[number - 1];
  const auto totals =
      read_final_result(text_of_file(job.output_of(number) + "/" + output::kFinalResult));
  if (!totals || totals->frame_total != part.rows || totals->group_total != part.groups) {
    job.find(number, "counts other rows or groups than were planned");
    return;
  }
  if (totals->input_mode != job.plan.input_mode ||
      totals->use_plate_det != job.plan.use_plate_det) {
    job.find(number, "was run in another mode");
  }
  part.totals = *totals;
}

void read_part(std::size_t number, bool without_failed, Job& job) {
  const Verdict verdict =
      verify_result(job.plan, number, result_of(job.root, number), Look::kAtBytes);
  Part& part = job.parts[number - 1];
  part.result = verdict.result;
  part.result.files.clear();
  const bool is_failed = verdict.state == State::kFailed;
  part.left_out = verdict.state != State::kDone && part.result.unreadable_rows.empty();
  if (is_failed && !without_failed) {
    job.find(number, "failed: " + verdict.reason);
  } else if (verdict.state == State::kSpoiled) {
    job.find(number, "is spoiled: " + verdict.reason);
  } else if (verdict.state == State::kMissing) {
    job.find(number, "is not done");
  }
}

Job read_job(const MergeRequest& request) {
  Job job;
  job.root = request.job;
  job.plan = read_plan(request.job);
  check_kept(job.root + "/" + kListFile, job.plan.list_sha256, job);
  check_kept(job.root + "/" + kRowsFile, job.plan.rows_sha256, job);
  job.parts.resize(job.plan.shards.size());
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    read_part(number, request.without_failed, job);
  }
  check_same(job);
  if (!job.findings.empty()) return job;
  find_left_out_groups(job);
  count_outputs(job);
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    if (!job.parts[number - 1].left_out) read_totals(number, job);
  }
  return job;
}

// The picture at which a shard failed that comes first in the list.
std::string first_failing_picture(const Job& job) {
  std::vector<std::size_t> seen(job.parts.size(), 0);
  std::string first;
  for_each_case(job, [&](const CaseItem& item, std::size_t number) {
    const Result& result = job.parts.at(number - 1).result;
    const std::size_t row = seen[number - 1]++;
    const bool fails = result.exit_status != 0 && result.failed_row == row;
    if (fails && first.empty()) first = item.image_path + ": " + result.error;
  });
  return first;
}

// A file of the output directory; what cannot be written is an error, not a file that is cut.
class Table {
 public:
  Table(const std::string& path, output::Columns columns) : path_(path), file_(path) {
    add(output::csv_header(columns));
  }
  void add(const std::string& record) { file_ << record << '\n'; }
  void close() {
    file_.close();
    if (!file_) throw std::runtime_error("failed to write: " + path_);
  }

 private:
  std::string path_;
  std::ofstream file_;
};

// A shard's table behind its header; one that is never read where the shard is left out.
CsvRecords open_table(const Job& job, std::size_t number, const char* name) {
  CsvRecords records(job.output_of(number) + "/" + name);
  std::string header;
  if (!job.parts[number - 1].left_out) records.next(header);
  return records;
}

// Rows in the order of the list. Each must be the row of its case: group, picture and expected text
// come first in it.
void merge_frames(const Job& job, const std::string& dir) {
  std::vector<CsvRecords> tables;
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    tables.push_back(open_table(job, number, output::kFrameSummary));
  }
  Table table(dir + "/" + output::kFrameSummary, output::kFrameColumns);
  std::string record;
  for_each_case(job, [&](const CaseItem& item, std::size_t number) {
    if (job.left_out_groups.count(item.group_id) > 0) return;
    const std::string begin = csv_escape(item.group_id) + "," + csv_escape(item.image_path) + "," +
                              csv_escape(item.expected) + ",";
    if (!tables[number - 1].next(record) || record.compare(0, begin.size(), begin) != 0) {
      throw std::runtime_error(shard_name(number) + " has no row of " + item.image_path);
    }
    table.add(record);
  });
  table.close();
}

// Rows in byte order of the groups. Every shard has them in that order.
void merge_groups(const Job& job, const std::string& dir) {
  struct Next {
    std::string group;
    std::size_t number;
    bool operator>(const Next& other) const { return group > other.group; }
  };
  std::vector<CsvRecords> tables;
  std::vector<std::string> records(job.parts.size());
  std::priority_queue<Next, std::vector<Next>, std::greater<>> order;
  const auto advance = [&](std::size_t number) {
    std::string& record = records[number - 1];
    if (tables[number - 1].next(record)) order.push({csv_cells(record).front(), number});
  };
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    tables.push_back(open_table(job, number, output::kGroupSummary));
    if (!job.parts[number - 1].left_out) advance(number);
  }
  Table table(dir + "/" + output::kGroupSummary, output::kGroupColumns);
  std::string last;
  for (bool first = true; !order.empty(); first = false) {
    const Next next = order.top();
    order.pop();
    if (!first && next.group == last) throw std::runtime_error("twice there: group " + last);
    last = next.group;
    table.add(records[next.number - 1]);
    advance(next.number);
  }
  table.close();
}

RunTotals sum_totals(const Job& job) {
  RunTotals sum;
  sum.input_mode = job.plan.input_mode;
  sum.use_plate_det = job.plan.use_plate_det;
  for (const Part& part : job.parts) {
    sum.frame_total += part.totals.frame_total;
    sum.frame_correct += part.totals.frame_correct;
    sum.frame_check_or_failed += part.totals.frame_check_or_failed;
    sum.group_total += part.totals.group_total;
    sum.group_correct += part.totals.group_correct;
    sum.group_check_or_failed += part.totals.group_check_or_failed;
  }
  return sum;
}

bool is_table(const fs::path& name) {
  return name == output::kFrameSummary || name == output::kGroupSummary ||
         name == output::kFinalResult;
}

// Hard links to everything of a shard's output but its tables.
void link_files(const Job& job, std::size_t number, const std::string& dir) {
  const fs::path from = job.output_of(number);
  for (const auto& entry : fs::recursive_directory_iterator(from)) {
    const fs::path name = entry.path().lexically_relative(from);
    if (is_table(name)) continue;
    const fs::path to = fs::path(dir) / name;
    if (entry.is_directory()) {
      fs::create_directories(to);
    } else if (link(entry.path().c_str(), to.c_str()) != 0) {
      const std::string reason = errno == EXDEV
                                     ? "the output directory must be on the job's file system"
                                     : std::strerror(errno);
      throw std::runtime_error("failed to link: " + entry.path().string() + " (" + reason + ")");
    }
  }
}

// All of an output directory; `log` is its kavrel.log.
void fill(const Job& job, const std::string& dir, const std::string& output_dir,
          const RunTotals& totals, const std::string& log) {
  merge_frames(job, dir);
  merge_groups(job, dir);
  write_whole(dir + "/" + output::kFinalResult, final_result_json(totals, output_dir));
  write_whole(dir + "/" + kLogFile, log);
  ensure_dir(dir + "/" + output::kCases);
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    if (!job.parts[number - 1].left_out) link_files(job, number, dir);
  }
}

void write_manifest(const Job& job, const std::string& output_dir) {
  using Json = nlohmann::ordered_json;
  Json json;
  json["plan"] = job.plan.id;
  json["list"] = to_json_text(job.plan.list);
  json["list_sha256"] = job.plan.list_sha256;
  json["output_dir"] = to_json_text(fs::absolute(output_dir));
  json["options"] = Json::array();
  for (const std::string& option : job.plan.options) {
    json["options"].push_back(to_json_text(option));
  }
  json["networks_and_dictionaries"] = Json::object();
  for (const PlannedFile& file : job.plan.files) {
    json["networks_and_dictionaries"][file.name] = {{"path", to_json_text(file.path)},
                                                    {"sha256", file.sha256}};
  }
  for (std::size_t i = 0; i < job.parts.size(); ++i) {
    const Result& result = job.parts[i].result;
    json["shards"].push_back({{"shard", i + 1},
                              {"rows", job.plan.shards[i].rows},
                              {"host", to_json_text(result.host)},
                              {"started", result.started},
                              {"ended", result.ended},
                              {"version", result.version},
                              {"kavrel_sha256", result.kavrel_sha256},
                              {"runtime_sha256", result.runtime_sha256}});
  }
  json["left_out_groups"] = Json::array();
  for (const std::string& group : job.left_out_groups) {
    json["left_out_groups"].push_back(to_json_text(group));
  }
  write_whole(job.root + "/" + kManifest, json.dump(1) + "\n");
}

// Who reads the figures must know. None if nothing was left out.
std::vector<std::string> remarks_on_left_out(const Job& job) {
  if (job.left_out_groups.empty()) return {};
  std::vector<std::string> remarks;
  std::size_t rows = 0, all_rows = 0, all_groups = 0;
  for (std::size_t i = 0; i < job.parts.size(); ++i) {
    const Part& part = job.parts[i];
    all_rows += job.plan.shards[i].rows;
    all_groups += job.plan.shards[i].groups;
    rows += job.plan.shards[i].rows - part.rows;
    if (part.left_out) {
      remarks.push_back("[WARN] all of " + shard_name(i + 1) +
                        " is left out: " + part.result.error);
    }
  }
  std::vector<std::size_t> seen(job.parts.size(), 0);
  for_each_case(job, [&](const CaseItem& item, std::size_t number) {
    const std::vector<std::size_t>& unreadable = job.parts[number - 1].result.unreadable_rows;
    const std::size_t row = seen[number - 1]++;
    if (std::count(unreadable.begin(), unreadable.end(), row) == 0) return;
    remarks.push_back("[WARN] group " + item.group_id + " is left out: " + kUnreadableImage +
                      item.image_path);
  });
  remarks.push_back("[WARN] THE RESULT IS NOT THAT OF THE WHOLE LIST: " +
                    std::to_string(job.left_out_groups.size()) + " of " +
                    std::to_string(all_groups) + " groups are left out, with " +
                    std::to_string(rows) + " of " + std::to_string(all_rows) + " rows");
  return remarks;
}

// The directory's path without slashes at its end.
std::string place_of(const std::string& output_dir) {
  const std::size_t last = output_dir.find_last_not_of('/');
  return last == std::string::npos ? "/" : output_dir.substr(0, last + 1);
}

std::vector<Result> results_of(const Job& job) {
  std::vector<Result> results;
  for (const Part& part : job.parts) {
    if (!part.result.plan.empty()) results.push_back(part.result);
  }
  return results;
}

}  // namespace

int merge(const MergeRequest& request, std::ostream& out) {
  const std::string place = place_of(request.output_dir);
  if (fs::exists(place) && !fs::is_empty(place)) {
    throw std::runtime_error("is there already: " + request.output_dir);
  }
  const FolderLock lock(request.job);
  const Job job = read_job(request);
  for (const std::string& finding : job.findings) log_line("[FINDING] " + finding);
  const std::string picture = first_failing_picture(job);
  if (!picture.empty()) log_line("[WARN] the first failing picture in the list is " + picture);
  if (!job.findings.empty()) {
    const bool fails = std::any_of(job.parts.begin(), job.parts.end(),
                                   [](const Part& part) { return part.result.exit_status != 0; });
    if (fails) log_line("[INFO] --without-failed makes a result of the groups that can be read");
    log_line("[ERROR] findings: " + std::to_string(job.findings.size()) + ", no " +
             request.output_dir + " was made");
    return kExitFailure;
  }
  const RunTotals totals = sum_totals(job);
  const std::vector<std::string> remarks = remarks_on_left_out(job);
  const int status = remarks.empty() ? exit_status_of(totals, request.fail_on_error) : kExitLeftOut;
  const std::string log = merged_log({request.job, job.plan, request.output_dir, results_of(job),
                                      totals.frame_total, remarks, status});
  ensure_dir(fs::absolute(place).parent_path());
  const std::string partial = make_directory_of_its_own(place + ".partial.");
  try {
    fill(job, partial, request.output_dir, totals, log);
    write_manifest(job, request.output_dir);
    fs::rename(partial, place);
  } catch (...) {
    std::error_code ignored;
    fs::remove_all(partial, ignored);
    throw;
  }
  out << final_result_block(totals, request.output_dir) << std::flush;
  for (const std::string& remark : remarks) log_line(remark);
  return status;
}

}  // namespace kavrel::shard
