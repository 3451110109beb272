#include "shard/run.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <stdexcept>

#include "app/base/case_list.h"
#include "app/base/csv_records.h"
#include "app/base/files.h"
#include "app/base/log.h"
#include "app/base/output_format.h"
#include "app/base/text.h"
#include "app/base/whole_run.h"
#include "shard/job.h"
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

std::string host_name() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

std::string kavrel_program() {
  std::string path = fs::read_symlink("/proc/self/exe").parent_path() / "kavrel";
  if (access(path.c_str(), X_OK) != 0) throw std::runtime_error("there is no program " + path);
  return path;
}

// The librknnrt.so that the loader gives to the program. The loader itself answers: it lists what
// it would load, without a run.
std::string runtime_of(const std::string& program) {
  const std::string command = "LD_TRACE_LOADED_OBJECTS=1 " + shell_quote(program);
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot ask for the libraries of " + program);
  std::string text;
  for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
    text += static_cast<char>(byte);
  }
  pclose(pipe);
  const std::string mark = "librknnrt.so => ";
  const std::size_t begin = text.find(mark);
  const std::size_t end = text.find(" (0x", begin);
  if (begin == std::string::npos || end == std::string::npos) return "";
  return text.substr(begin + mark.size(), end - begin - mark.size());
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

// Where kavrel starts, so that relative paths of pictures mean what they meant at the plan. On a
// worker that is a folder of the same name as deep in the shipped ones.
std::string start_directory(const RunRequest& request, const Plan& plan) {
  if (!request.shipped) return plan.directory;
  const std::string pictures = pictures_of(request.job, request.shard);
  return pictures + "/" + text_of_file(start_of(request.job, request.shard));
}

// One run of kavrel over a list of the attempt.
struct Run {
  const RunRequest& request;
  const Plan& plan;
  std::string attempt;
  std::string list;

  std::string output() const { return attempt + "/" + kOutput; }
  std::string log() const { return attempt + "/" + kLogFile; }
};

std::vector<std::string> command_of(const Run& run) {
  std::vector<std::string> words = {kavrel_program()};
  words.insert(words.end(), run.plan.options.begin(), run.plan.options.end());
  for (const PlannedFile& file : run.plan.files) {
    words.push_back("--" + file.name);
    words.push_back(fs::absolute(run.request.job + "/" + kCommon + "/" + file.name));
  }
  words.insert(words.end(), {"--input-list", fs::absolute(run.list), "--output-dir", run.output()});
  return words;
}

// Runs the command with both of its streams behind what is in the log. Returns its exit status, or
// 128 and the signal that ended it.
int run_command(const std::vector<std::string>& words, const std::string& directory,
                const std::string& log) {
  std::vector<std::string> copies = words;
  std::vector<char*> argv;
  for (std::string& word : copies) argv.push_back(word.data());
  argv.push_back(nullptr);
  const int file = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
  if (file < 0) throw std::runtime_error("failed to write: " + log);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) {
    // Whoever ends this program ends kavrel.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent || dup2(file, STDOUT_FILENO) < 0 || dup2(file, STDERR_FILENO) < 0 ||
        chdir(directory.c_str()) != 0) {
      _exit(126);
    }
    execv(argv.front(), argv.data());
    _exit(127);
  }
  close(file);
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("no process");
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string last_line_of(const std::string& path) {
  const std::vector<std::string> lines = read_trimmed_lines(path);
  return lines.empty() ? "" : lines.back();
}

// The case at which a run ended is the one behind those that have a row.
std::optional<std::size_t> failed_row(const std::string& output, std::size_t cases) {
  const std::string table = output + "/" + output::kFrameSummary;
  if (!file_exists(table)) return std::nullopt;
  std::size_t rows = 0;
  try {
    CsvRecords records(table);
    std::string record;
    if (!records.next(record)) return std::nullopt;
    while (records.next(record)) ++rows;
  } catch (const std::runtime_error&) {
    return std::nullopt;
  }
  if (rows >= cases) return std::nullopt;
  return rows;
}

// Removes the pictures of cases that need not keep them. A case's status is that of its last row.
void drop_pictures(const std::string& output, const std::string& keep) {
  if (keep == "all") return;
  std::map<std::string, bool> drops;
  CsvRecords records(output + "/" + output::kFrameSummary);
  std::string record;
  records.next(record);
  while (records.next(record)) {
    const output::Row row = output::make_row(output::kFrameColumns, csv_cells(record));
    drops[output::case_dir(output, row.at(output::column::kImagePath))] =
        keep == "none" || row.at(output::column::kStatus) == output::status::kCorrect;
  }
  for (const auto& [dir, drop] : drops) {
    if (!drop) continue;
    std::vector<fs::path> pictures;
    for (const auto& entry : fs::directory_iterator(dir)) {
      if (entry.path().extension() == ".jpg") pictures.push_back(entry.path());
    }
    for (const fs::path& picture : pictures) fs::remove(picture);
  }
}

// How one run of kavrel ended.
struct Ended {
  int exit_status = 0;  // 1 as well where its output is not whole
  std::string error;
  std::optional<std::size_t> failed_row;  // of the cases of its list, from 0
};

Ended run_kavrel(const Run& run, const std::vector<CaseItem>& cases) {
  fs::remove_all(run.output());
  Ended ended;
  ended.exit_status =
      run_command(command_of(run), start_directory(run.request, run.plan), run.log());
  if (ended.exit_status == 0) {
    const RunCheck check = check_whole_run(run.output(), &cases);
    if (check.faults.empty()) return ended;
    ended.exit_status = 1;
    ended.error = "the output is not whole, is the disk full? " + check.faults.front().text;
    return ended;
  }
  ended.error = last_line_of(run.log());
  if (ended.error.empty()) ended.error = "kavrel ended with " + std::to_string(ended.exit_status);
  if (ended.exit_status == 1) ended.failed_row = failed_row(run.output(), cases.size());
  return ended;
}

// A shard's cases, and the lines that they stand in.
struct ShardList {
  std::vector<CaseItem> cases;
  std::vector<std::string> lines;
  std::string header;
};

ShardList read_shard_list(const std::string& path) {
  ShardList list;
  CaseReader reader(path);
  for (CaseItem item; reader.next(item);) {
    list.cases.push_back(item);
    list.lines.push_back(reader.line());
  }
  list.header = reader.header();
  return list;
}

bool is_unreadable(const Ended& ended, const std::vector<CaseItem>& cases) {
  return ended.failed_row &&
         ended.error == trim("[ERROR] " + (kUnreadableImage + cases[*ended.failed_row].image_path));
}

// Runs kavrel over the rows from `first` on, without these groups. `rows` are those of them that
// were given to it.
Ended run_without(const std::set<std::string>& groups, std::size_t first, const ShardList& list,
                  const Run& run, std::vector<std::size_t>& rows) {
  rows.clear();
  std::vector<CaseItem> cases;
  std::string text = list.header + "\n";
  for (std::size_t row = first; row < list.cases.size(); ++row) {
    if (groups.count(list.cases[row].group_id) > 0) continue;
    rows.push_back(row);
    cases.push_back(list.cases[row]);
    text += list.lines[row] + "\n";
  }
  write_whole(run.list, text);
  Ended ended = run_kavrel(run, cases);
  if (!is_unreadable(ended, cases)) ended.failed_row.reset();
  return ended;
}

// After a run that ended at a picture that cannot be read: finds the other ones behind it, and
// then runs all groups that have none. Each row is read twice at most, however many there are.
// Returns whether output/ holds them.
bool run_rest(const ShardList& list, std::size_t failed, const Run& run, Result& result) {
  std::set<std::string> groups;
  std::vector<std::size_t> rows;
  for (;;) {
    result.unreadable_rows.push_back(failed);
    groups.insert(list.cases[failed].group_id);
    Ended ended = run_without(groups, failed + 1, list, run, rows);
    if (ended.exit_status == 0) ended = run_without(groups, 0, list, run, rows);
    if (ended.exit_status == 0) return true;
    if (!ended.failed_row) return false;
    failed = rows[*ended.failed_row];
  }
}

// Runs the shard and tells in `result` how that ended.
void run_list(const RunRequest& request, const Plan& plan, const std::string& attempt,
              Result& result) {
  const ShardList list = read_shard_list(list_of(request.job, request.shard));
  Run run{request, plan, attempt, list_of(request.job, request.shard)};
  const Ended ended = run_kavrel(run, list.cases);
  result.exit_status = ended.exit_status;
  result.error = ended.error;
  result.failed_row = ended.failed_row;
  bool is_whole = ended.exit_status == 0;
  if (is_unreadable(ended, list.cases)) {
    run.list = attempt + "/" + kRestFile;
    is_whole = run_rest(list, *ended.failed_row, run, result);
  }
  if (is_whole) {
    drop_pictures(run.output(), plan.keep_pictures);
  } else {
    result.unreadable_rows.clear();
    fs::remove_all(run.output());
  }
}

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
  run_list(request, plan, attempt.dir(), result);
  result.ended = utc_now();
  list_files(attempt.dir(), result);
  write_result(result, attempt.dir());
  publish(attempt.dir(), request, plan);
  if (result.exit_status == 0) return 0;
  log_line("[WARN] shard " + std::to_string(request.shard) + ": " + result.error);
  return 1;
}

}  // namespace kavrel::shard
