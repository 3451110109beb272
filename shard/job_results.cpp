#include "shard/job_results.h"

#include <algorithm>
#include <fstream>

#include "app/base/files.h"
#include "app/base/output_format.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

void find(JobResults& job, std::size_t number, const std::string& what) {
  job.findings.push_back(shard_name(number) + " " + what);
}

void check_kept(const std::string& path, const std::string& hash, JobResults& job) {
  if (!file_exists(path) || sha256_of_file(path) != hash) {
    job.findings.push_back("not what was planned: " + path);
  }
}

// Whether every shard was run with the same program and runtime as the first.
void check_same(JobResults& job) {
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
        find(job, number,
             std::string("was run with another ") + what + " than " + shard_name(first_number) +
                 ": remove the result of one of them");
      }
    };
    differ(part.result.version, first->result.version, "version of kavrel");
    differ(part.result.kavrel_sha256, first->result.kavrel_sha256, "kavrel");
    differ(part.result.runtime_sha256, first->result.runtime_sha256, "librknnrt.so");
  }
}

bool is_unreadable(const PlannedCase& planned, const Part& part) {
  const std::vector<std::size_t>& rows = part.result.unreadable_rows;
  return std::find(rows.begin(), rows.end(), planned.row) != rows.end();
}

// Which groups are not in the outputs: those of shards without one, and those of pictures that
// cannot be read.
void find_left_out_groups(JobResults& job) {
  for_each_case(job, [&](const PlannedCase& planned) {
    const Part& part = job.parts[planned.shard - 1];
    if (part.left_out || is_unreadable(planned, part)) {
      job.left_out_groups.insert(planned.item.group_id);
    }
  });
}

// What the output of each shard must count.
void count_outputs(JobResults& job) {
  for (std::size_t i = 0; i < job.parts.size(); ++i) {
    job.parts[i].rows = job.plan.shards[i].rows;
    job.parts[i].groups = job.plan.shards[i].groups;
  }
  if (job.left_out_groups.empty()) return;
  std::set<std::string> counted;
  for_each_case(job, [&](const PlannedCase& planned) {
    const std::string& group = planned.item.group_id;
    if (job.left_out_groups.count(group) == 0) return;
    Part& part = job.parts[planned.shard - 1];
    --part.rows;
    if (counted.insert(group).second) --part.groups;
  });
}

void read_totals(std::size_t number, JobResults& job) {
  Part& part = job.parts[number - 1];
  const auto totals =
      read_final_result(text_of_file(job.output_of(number) + "/" + output::kFinalResult));
  if (!totals || totals->frame_total != part.rows || totals->group_total != part.groups) {
    find(job, number, "counts other rows or groups than were planned");
    return;
  }
  if (totals->input_mode != job.plan.input_mode ||
      totals->use_plate_det != job.plan.use_plate_det) {
    find(job, number, "was run in another mode");
  }
  part.totals = *totals;
}

void read_part(std::size_t number, bool without_failed, JobResults& job) {
  const Verdict verdict =
      verify_result(job.plan, number, result_of(job.root, number), Look::kAtBytes);
  Part& part = job.parts[number - 1];
  part.result = verdict.result;
  part.result.files.clear();
  const bool is_failed = verdict.state == State::kFailed;
  part.left_out = verdict.state != State::kDone && part.result.unreadable_rows.empty();
  if (is_failed && !without_failed) {
    find(job, number, "failed: " + verdict.reason);
  } else if (verdict.state == State::kSpoiled) {
    find(job, number, "is spoiled: " + verdict.reason);
  } else if (verdict.state == State::kMissing) {
    find(job, number, "is not done");
  }
}

}  // namespace

std::string JobResults::output_of(std::size_t number) const {
  return result_of(root, number) + "/" + kOutput;
}

void for_each_case(const JobResults& job, const std::function<void(const PlannedCase&)>& take) {
  CaseReader list(job.root + "/" + kListFile);
  std::ifstream shards(job.root + "/" + kRowsFile);
  std::vector<std::size_t> rows(job.parts.size(), 0);
  PlannedCase planned;
  // A file that somebody changed is a finding already; here it only ends the list.
  while (list.next(planned.item) && shards >> planned.shard && planned.shard - 1 < rows.size()) {
    planned.row = rows[planned.shard - 1]++;
    take(planned);
  }
}

JobResults read_job_results(const std::string& root, bool without_failed) {
  JobResults job;
  job.root = root;
  job.plan = read_plan(root);
  check_kept(job.root + "/" + kListFile, job.plan.list_sha256, job);
  check_kept(job.root + "/" + kRowsFile, job.plan.rows_sha256, job);
  job.parts.resize(job.plan.shards.size());
  for (std::size_t number = 1; number <= job.parts.size(); ++number) {
    read_part(number, without_failed, job);
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

std::string first_failing_picture(const JobResults& job) {
  std::string first;
  for_each_case(job, [&](const PlannedCase& planned) {
    const Result& result = job.parts[planned.shard - 1].result;
    const bool fails = result.exit_status != 0 && result.failed_row == planned.row;
    if (fails && first.empty()) first = planned.item.image_path + ": " + result.error;
  });
  return first;
}

std::vector<std::string> remarks_on_left_out(const JobResults& job) {
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
  for_each_case(job, [&](const PlannedCase& planned) {
    if (!is_unreadable(planned, job.parts[planned.shard - 1])) return;
    remarks.push_back("[WARN] group " + planned.item.group_id +
                      " is left out: " + kUnreadableImage + planned.item.image_path);
  });
  remarks.push_back("[WARN] THE RESULT IS NOT THAT OF THE WHOLE LIST: " +
                    std::to_string(job.left_out_groups.size()) + " of " +
                    std::to_string(all_groups) + " groups are left out, with " +
                    std::to_string(rows) + " of " + std::to_string(all_rows) + " rows");
  return remarks;
}

}  // namespace kavrel::shard
