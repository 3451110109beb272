#include "shard/merge.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <vector>

#include "app/base/files.h"
#include "app/base/log.h"
#include "app/base/run_totals.h"
#include "shard/job_results.h"
#include "shard/merged_log.h"
#include "shard/merged_output.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;

constexpr int kExitFailure = 1;
constexpr int kExitLeftOut = 4;

RunTotals sum_totals(const JobResults& job) {
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

// The directory's path without slashes at its end.
std::string place_of(const std::string& output_dir) {
  const std::size_t last = output_dir.find_last_not_of('/');
  return last == std::string::npos ? "/" : output_dir.substr(0, last + 1);
}

std::vector<Result> results_of(const JobResults& job) {
  std::vector<Result> results;
  for (const Part& part : job.parts) {
    if (!part.result.plan.empty()) results.push_back(part.result);
  }
  return results;
}

int refuse(const JobResults& job, const std::string& output_dir) {
  const bool fails = std::any_of(job.parts.begin(), job.parts.end(),
                                 [](const Part& part) { return part.result.exit_status != 0; });
  if (fails) log_line("[INFO] --without-failed makes a result of the groups that can be read");
  log_line("[ERROR] findings: " + std::to_string(job.findings.size()) + ", no " + output_dir +
           " was made");
  return kExitFailure;
}

bool are_on_same_device(const std::string& one, const std::string& other) {
  struct stat first {};
  struct stat second {};
  return stat(one.c_str(), &first) == 0 && stat(other.c_str(), &second) == 0 &&
         first.st_dev == second.st_dev;
}

// Files are linked. Told before all of them are read, which may take minutes.
void check_same_file_system(const std::string& job, const std::string& place) {
  fs::path above = fs::absolute(place);
  while (!fs::exists(above)) above = above.parent_path();
  if (are_on_same_device(above, job)) return;
  throw std::runtime_error("not on the file system of " + job +
                           ", whose files it links to: " + place);
}

// What `write` leaves in the directory that it is given appears at `place`, all or nothing.
void write_at_once(const std::string& place, const std::function<void(const std::string&)>& write) {
  ensure_dir(fs::absolute(place).parent_path());
  const std::string partial = make_directory_of_its_own(place + ".partial.");
  try {
    write(partial);
    fs::rename(partial, place);
  } catch (...) {
    std::error_code ignored;
    fs::remove_all(partial, ignored);
    throw;
  }
}

}  // namespace

int merge(const MergeRequest& request, std::ostream& out) {
  const std::string place = place_of(request.output_dir);
  if (fs::is_symlink(place) || (fs::exists(place) && !fs::is_empty(place))) {
    throw std::runtime_error("is there already: " + request.output_dir);
  }
  const FolderLock lock(request.job);
  check_same_file_system(request.job, place);
  const JobResults job = read_job_results(request.job, request.without_failed);
  for (const std::string& finding : job.findings) log_line("[FINDING] " + finding);
  const std::string picture = first_failing_picture(job);
  if (!picture.empty()) log_line("[WARN] the first failing picture in the list is " + picture);
  if (!job.findings.empty()) return refuse(job, request.output_dir);
  const RunTotals totals = sum_totals(job);
  const std::vector<std::string> remarks = remarks_on_left_out(job);
  const int status = remarks.empty() ? exit_status_of(totals, request.fail_on_error) : kExitLeftOut;
  const std::string log = merged_log({request.job, job.plan, request.output_dir, results_of(job),
                                      totals.frame_total, remarks, status});
  write_at_once(place, [&](const std::string& dir) {
    write_merged_output(job, dir, request.output_dir, totals, log);
    write_manifest(job, request.output_dir);
  });
  out << final_result_block(totals, request.output_dir) << std::flush;
  for (const std::string& remark : remarks) log_line(remark);
  return status;
}

}  // namespace kavrel::shard
