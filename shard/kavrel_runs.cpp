#include "shard/kavrel_runs.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

#include "app/base/case_list.h"
#include "app/base/csv_records.h"
#include "app/base/files.h"
#include "app/base/output_format.h"
#include "app/base/text.h"
#include "app/base/whole_run.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;

// Where kavrel starts, so that relative paths of pictures mean what they meant at the plan. On a
// worker that is a folder of the same name as deep in the shipped ones.
std::string start_directory(const ShardRun& run) {
  if (!run.shipped) return run.plan.directory;
  const std::string pictures = pictures_of(run.job, run.shard);
  return pictures + "/" + text_of_file(start_of(run.job, run.shard));
}

// One run of kavrel over a list of the attempt.
struct Run {
  const ShardRun& of;
  std::string list;

  std::string output() const { return of.attempt + "/" + kOutput; }
  std::string log() const { return of.attempt + "/" + output::kRunLog; }
};

std::vector<std::string> command_of(const Run& run) {
  std::vector<std::string> words = {kavrel_program()};
  words.insert(words.end(), run.of.plan.options.begin(), run.of.plan.options.end());
  for (const PlannedFile& file : run.of.plan.files) {
    words.push_back("--" + file.name);
    words.push_back(fs::absolute(run.of.job + "/" + kCommon + "/" + file.name));
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
  ended.exit_status = run_command(command_of(run), start_directory(run.of), run.log());
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

}  // namespace

std::string kavrel_program() {
  std::string path = fs::read_symlink("/proc/self/exe").parent_path() / "kavrel";
  if (access(path.c_str(), X_OK) != 0) throw std::runtime_error("there is no program " + path);
  return path;
}

// The loader itself answers: it lists what it would load, without a run.
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

void run_shard_list(const ShardRun& shard, Result& result) {
  const std::string path = list_of(shard.job, shard.shard);
  const ShardList list = read_shard_list(path);
  Run run{shard, path};
  const Ended ended = run_kavrel(run, list.cases);
  result.exit_status = ended.exit_status;
  result.error = ended.error;
  result.failed_row = ended.failed_row;
  bool is_whole = ended.exit_status == 0;
  if (is_unreadable(ended, list.cases)) {
    run.list = shard.attempt + "/" + kRestFile;
    is_whole = run_rest(list, *ended.failed_row, run, result);
  }
  if (is_whole) {
    drop_pictures(run.output(), shard.plan.keep_pictures);
  } else {
    result.unreadable_rows.clear();
    fs::remove_all(run.output());
  }
}

}  // namespace kavrel::shard
