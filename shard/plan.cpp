#include "shard/plan.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "app/args.h"
#include "app/base/case_list.h"
#include "app/base/files.h"
#include "app/base/log.h"
#include "app/base/text.h"
#include "shard/grouping.h"
#include "shard/job.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;

// What an option of kavrel is to a job.
bool is_of_the_job(const std::string& option) {
  return option == "--input-list" || option == "--output-dir" || option == "--fail-on-error";
}

bool names_a_file(const Option& option) {
  const auto* const text = std::get_if<std::string Args::*>(&option.effect);
  return text != nullptr && option.choices == nullptr && !is_of_the_job(option.name);
}

Args args_of(const PlanRequest& request) {
  for (const std::string& word : request.options) {
    if (is_of_the_job(word)) {
      throw std::runtime_error(word == "--fail-on-error"
                                   ? word + " is an option of merge"
                                   : word + " does not stand behind --: the job sets it");
    }
  }
  std::vector<const char*> argv = {"kavrel", "--input-list", request.list.c_str()};
  for (const std::string& word : request.options) argv.push_back(word.c_str());
  return parse_args(static_cast<int>(argv.size()), argv.data());
}

// The options as they were typed, without those that name a file: every worker has files of its
// own places.
std::vector<std::string> other_options(const std::vector<std::string>& words) {
  std::vector<std::string> kept;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const auto option = std::find_if(kOptions.begin(), kOptions.end(),
                                     [&](const Option& known) { return words[i] == known.name; });
    const bool has_value = option != kOptions.end() && !default_of(*option).empty();
    if (option == kOptions.end() || !names_a_file(*option)) {
      kept.push_back(words[i]);
      if (has_value) kept.push_back(words[i + 1]);
    }
    if (has_value) ++i;
  }
  return kept;
}

std::vector<PlannedFile> files_of(const Args& args, bool use_plate_det) {
  std::vector<PlannedFile> files;
  for (const Option& option : kOptions) {
    if (!names_a_file(option)) continue;
    const auto member = std::get<std::string Args::*>(option.effect);
    if (member == &Args::plate_det_model && !use_plate_det) continue;
    files.push_back({option.name + 2, args.*member, sha256_of_file(args.*member)});
  }
  return files;
}

// A profile of GNU parallel has no way to write these: braces are its own, it ends at a line's end.
void check_for_parallel(const std::string& job) {
  if (job.find_first_of("'{}\n") == std::string::npos) return;
  throw std::runtime_error("GNU parallel takes no path with ', {, } or a line's end: " + job);
}

// How the program is called on a worker: by its name where that is this program, else by its path.
std::string program_name() {
  const fs::path self = fs::read_symlink("/proc/self/exe");
  const char* const path = std::getenv("PATH");
  std::string folders = path == nullptr ? "" : path;
  for (const std::string& folder : split_csv_simple(folders, ':')) {
    const fs::path found = fs::path(folder) / self.filename();
    if (!file_exists(found)) continue;
    std::error_code error;
    return fs::equivalent(found, self, error) ? self.filename().string() : self.string();
  }
  return self;
}

// A worker whose program lies elsewhere finds it by its name.
std::string call_of(const fs::path& program) {
  if (program.is_relative()) return program;
  return "env PATH=" + shell_quote(program.parent_path()) + ":\"$PATH\" " +
         shell_quote(program.filename());
}

// Options of GNU parallel. The words of a line are those of a shell, and blanks in a command count.
std::string profile_of(const std::string& job, const std::string& program) {
  const std::string place = shell_quote(job);
  return "# What GNU parallel does with this job:\n"
         "#   kavrel-shard todo JOB | parallel --profile JOB/parallel\n"
         "# with --sshloginfile HOSTS on other machines.\n"
         "# A host that fails leaves its shard to another one.\n"
         "--retries 3\n"
         "--joblog +" +
         place +
         "/joblog\n"
         "--bar\n"
         "# A worker has a folder for each attempt, which is removed when it ended. Pictures are\n"
         "# compressed already.\n"
         "--workdir ...\n"
         "--cleanup\n"
         "--rsync-opts '-rLtR --delete --no-compress'\n"
         "--transferfile " +
         place + "/./" + kCommon +
         "\n"
         "--transferfile " +
         place + "/./" + kShards +
         "/{}\n"
         "--return " +
         place + "/./" + kResults +
         "/{}\n"
         "# As many processes as cores take one thread each.\n" +
         shell_quote(call_of(program)) + " run --threads 1 " + shell_quote(place) + " {}\n";
}

std::string batch_of(const std::string& job, const std::string& program, const std::string& id) {
  return "#!/bin/sh\n"
         "# A job array of Slurm:\n"
         "#   sbatch --array=\"$(kavrel-shard todo --array JOB)\" JOB/shard.sbatch\n"
         "# JOB, the pictures and the networks are on a file system that all nodes see.\n"
         "#SBATCH --job-name=kavrel-" +
         id +
         "\n"
         "#SBATCH --cpus-per-task=1\n"
         "#SBATCH --open-mode=append\n"
         "exec " +
         shell_quote(program) + " run --threads 1 " + shell_quote(job) +
         " \"$SLURM_ARRAY_TASK_ID\"\n";
}

// Every shard's list, and its number of groups.
void write_shards(const ListRows& list, const std::vector<std::uint32_t>& shard_of_row,
                  std::size_t shards, const std::string& job, Plan& plan) {
  std::vector<std::vector<std::uint32_t>> rows(shards);
  for (std::uint32_t row = 0; row < shard_of_row.size(); ++row) {
    rows[shard_of_row[row]].push_back(row);
  }
  for (std::size_t i = 0; i < shards; ++i) {
    std::string text = list.header + "\n";
    std::set<std::uint32_t> groups;
    for (const std::uint32_t row : rows[i]) {
      text.append(list.lines, list.begin[row], list.begin[row + 1] - list.begin[row]);
      groups.insert(list.group[row]);
    }
    fs::create_directory(job + "/" + kShards + "/" + std::to_string(i + 1));
    write_whole(list_of(job, i + 1), text);
    plan.shards.push_back({rows[i].size(), groups.size(), sha256_of(text)});
  }
}

std::string rows_text(const std::vector<std::uint32_t>& shard_of_row) {
  std::string text;
  for (const std::uint32_t shard : shard_of_row) text += std::to_string(shard + 1) + "\n";
  return text;
}

// A mistyped folder would otherwise be told by every shard. Absolute paths are the workers'.
void warn_of_missing_pictures(const std::string& list) {
  std::size_t missing = 0;
  std::string first;
  CaseReader cases(list);
  for (CaseItem item; cases.next(item);) {
    const bool is_there =
        item.image_path.front() == '/' || access(item.image_path.c_str(), R_OK) == 0;
    if (is_there) continue;
    if (missing++ == 0) first = item.image_path;
  }
  if (missing == 0) return;
  log_line("[WARN] pictures that cannot be opened from here: " + std::to_string(missing) +
           ", the first is " + first);
}

void tell(const ListRows& list, const Plan& plan, std::size_t wished, std::ostream& out) {
  const std::size_t fair = std::max<std::size_t>(1, (list.rows() + wished - 1) / wished);
  for (std::size_t set = 0; set < list.size.size(); ++set) {
    if (list.size[set] <= fair) continue;
    log_line("[WARN] " + std::to_string(list.size[set]) + " of " + std::to_string(list.rows()) +
             " rows stay together, more than a shard's fair share of " + std::to_string(fair) +
             "; most of them share the " + list.tie[set]);
  }
  out << plan.shards.size() << (plan.shards.size() == 1 ? " shard of " : " shards of ")
      << plan.shards.back().rows << " to " << plan.shards.front().rows << " rows";
  if (plan.shards.size() != wished) out << ", not " << wished << ": no more can be parted";
  out << std::endl;
}

void fill_job(const PlanRequest& request, const Args& args, const std::string& job,
              std::ostream& out) {
  Plan plan;
  plan.use_plate_det = check_files_and_decide_use_plate_det(args);
  plan.job = host_name() + ":" + job;
  plan.list = request.list;
  plan.directory = fs::current_path();
  plan.options = other_options(request.options);
  plan.input_mode = args.input_mode;
  plan.keep_pictures = request.keep_pictures;
  plan.files = files_of(args, plan.use_plate_det);
  const std::string bytes = text_of_file(request.list);
  plan.list_sha256 = sha256_of(bytes);
  write_whole(job + "/" + kListFile, bytes);

  const ListRows list = read_list_rows(job + "/" + kListFile);
  std::size_t shards = request.shards;
  const std::vector<std::uint32_t> shard_of_row = deal_out(list, shards);
  for (const char* folder : {kCommon, kShards, kResults}) fs::create_directory(job + "/" + folder);
  write_shards(list, shard_of_row, shards, job, plan);
  const std::string rows = rows_text(shard_of_row);
  plan.rows_sha256 = sha256_of(rows);
  write_whole(job + "/" + kRowsFile, rows);
  for (const PlannedFile& file : plan.files) {
    link_to(fs::absolute(file.path), job + "/" + kCommon + "/" + file.name);
  }
  plan.id = id_of(plan);
  const std::string program = program_name();
  write_whole(job + "/" + kProfileFile, profile_of(job, program));
  write_whole(job + "/" + kBatchFile, batch_of(job, program, plan.id));
  write_plan(plan, job + "/" + kPlanFile);
  link_to(std::string("../") + kPlanFile, job + "/" + kCommon + "/" + kPlanFile);
  warn_of_missing_pictures(job + "/" + kListFile);
  tell(list, plan, request.shards, out);
}

}  // namespace

void make_plan(const PlanRequest& request, std::ostream& out) {
  if (request.job.rfind('-', 0) == 0) {
    throw std::runtime_error("JOB stands before --, and is no option: " + request.job);
  }
  const Args args = args_of(request);  // ends the program where they ask for the usage
  const fs::path job = fs::absolute(request.job).lexically_normal();
  check_for_parallel(job);
  if (fs::exists(job)) throw std::runtime_error("is there already: " + request.job);
  ensure_dir(job);
  try {
    fill_job(request, args, fs::canonical(job), out);
  } catch (...) {
    fs::remove_all(job);
    throw;
  }
}

}  // namespace kavrel::shard
