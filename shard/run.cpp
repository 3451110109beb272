#include "shard/run.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <stdexcept>

#include "app/base/files.h"
#include "app/base/log.h"
#include "shard/job.h"
#include "shard/kavrel_runs.h"
#include "shard/result.h"
#include "shard/storage.h"
#include "shard/version.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;

// The workstation's runtime takes its number of threads from this variable.
constexpr const char* kThreadsVariable = "KAVREL_HOST_THREADS";

std::string utc_now() {
  const std::time_t now = std::time(nullptr);
  std::tm time{};
  gmtime_r(&now, &time);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), kTimeFormat, &time);
  return text.data();
}

// A folder of this attempt alone. It stays locked as long as this process or its kavrel lives;
// those of attempts that were killed are removed.
class Attempt {
 public:
  Attempt(const std::string& root, std::size_t number) {
    const std::string folder = root + "/" + kAttempts;
    const std::string prefix = std::to_string(number) + ".";
    ensure_dir(folder);
    for (const auto& entry : fs::directory_iterator(folder)) {
      if (entry.path().filename().string().rfind(prefix, 0) == 0) remove_dead(entry.path());
    }
    dir_ = fs::absolute(make_directory_of_its_own(folder + "/" + prefix));
    lock_ = open(dir_.c_str(), O_RDONLY | O_DIRECTORY);
    if (lock_ >= 0) flock(lock_, LOCK_EX | LOCK_NB);
  }
  ~Attempt() {
    if (lock_ >= 0) close(lock_);
  }
  Attempt(const Attempt&) = delete;
  Attempt& operator=(const Attempt&) = delete;

  const std::string& dir() const { return dir_; }

 private:
  static void remove_dead(const fs::path& dir) {
    const int lock = open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock < 0) return;
    std::error_code ignored;
    if (flock(lock, LOCK_EX | LOCK_NB) == 0) fs::remove_all(dir, ignored);
    close(lock);
  }

  std::string dir_;
  int lock_ = -1;
};

void check_list(const RunRequest& request, const Plan& plan) {
  if (request.shard < 1 || request.shard > plan.shards.size()) {
    throw std::runtime_error("the plan has " + std::to_string(plan.shards.size()) +
                             " shards, no shard " + std::to_string(request.shard));
  }
  const std::string list = list_of(request.job, request.shard);
  if (sha256_of_file(list) != plan.shards[request.shard - 1].list_sha256) {
    throw std::runtime_error("not the list that was planned: " + list);
  }
}

Result new_result(const RunRequest& request, const Plan& plan) {
  const std::string program = kavrel_program();
  Result result;
  result.plan = plan.id;
  result.shard = request.shard;
  result.list_sha256 = plan.shards[request.shard - 1].list_sha256;
  result.version = kVersion;
  result.kavrel_sha256 = sha256_of_file(program);
  const std::string runtime = runtime_of(program);
  if (runtime.empty()) throw std::runtime_error("there is no librknnrt.so for " + program);
  result.runtime_sha256 = sha256_of_file(runtime);
  result.options = plan.options;
  for (const PlannedFile& file : plan.files) {
    const std::string path = request.job + "/" + kCommon + "/" + file.name;
    const std::string hash = sha256_of_file(path);
    if (hash != file.sha256) throw std::runtime_error("not the file that was planned: " + path);
    result.file_hashes[file.name] = hash;
  }
  result.host = host_name();
  result.started = utc_now();
  return result;
}

void list_files(const std::string& dir, Result& result) {
  for (const std::string& name : names_below(dir)) {
    const std::string path = dir + "/" + name;
    result.files.push_back({name, fs::file_size(path), sha256_of_file(path)});
  }
}

bool is_done(const RunRequest& request, const Plan& plan) {
  const std::string dir = result_of(request.job, request.shard);
  return verify_result(plan, request.shard, dir, Look::kAtBytes).state == State::kDone;
}

// Gives the attempt the shard's name. Whichever of two attempts comes second finds the name taken
// by a whole result, and goes.
void publish(const std::string& attempt, const RunRequest& request, const Plan& plan) {
  const std::string place = result_of(request.job, request.shard);
  ensure_dir(request.job + "/" + kResults);
  for (int tries = 0; tries < 3; ++tries) {
    std::error_code error;
    fs::rename(attempt, place, error);
    if (!error) return;
    if (is_done(request, plan)) {
      fs::remove_all(attempt);
      return;
    }
    if (fs::exists(place)) move_aside(place, request.job + "/" + kSpoiledFolder);
  }
  throw std::runtime_error("failed to write: " + place);
}

}  // namespace

int run_shard(const RunRequest& request) {
  const Plan plan = read_plan(request.job);
  check_list(request, plan);
  if (is_done(request, plan)) {
    log_line("[INFO] shard " + std::to_string(request.shard) + " is done already");
    return 0;
  }
  if (request.threads > 0) {
    setenv(kThreadsVariable, std::to_string(request.threads).c_str(), 1);
  }
  Result result = new_result(request, plan);
  const Attempt attempt(request.job, request.shard);
  run_shard_list({plan, request.job, request.shard, request.shipped, attempt.dir()}, result);
  result.ended = utc_now();
  list_files(attempt.dir(), result);
  write_result(result, attempt.dir());
  publish(attempt.dir(), request, plan);
  if (result.exit_status == 0) return 0;
  log_line("[WARN] shard " + std::to_string(request.shard) + ": " + result.error);
  return 1;
}

}  // namespace kavrel::shard
