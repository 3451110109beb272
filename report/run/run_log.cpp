#include "report/run/run_log.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <sstream>

#include "app/base/log.h"
#include "app/base/output_format.h"
#include "app/base/text.h"
#include "report/base/wording.h"

namespace kavrel::report {
namespace {

// Options that name a file, as people call it.
struct NamedFile {
  const char* option;
  const char* name;
};

constexpr const char* kListOption = "--input-list";
constexpr std::array<NamedFile, 7> kNamedFiles = {{
    {kListOption, "List"},
    {"--plate-det-model", "Plate detector"},
    {"--plate-corner-model", "Plate corners"},
    {"--ppocr-det-model", "Text detector"},
    {"--ppocr-rec-model", "Text recogniser"},
    {"--ocr-dict", "Dictionary"},
    {"--dict-region", "Region words"},
}};

// What stands behind `start`, if the line begins so.
std::optional<std::string> behind(const std::string& start, const std::string& line) {
  if (line.rfind(start, 0) != 0) return std::nullopt;
  return line.substr(start.size());
}

// -1 for what is no number.
int number_of(const std::string& text) {
  const bool is_number =
      !text.empty() && text.size() < 9 && std::all_of(text.begin(), text.end(), is_ascii_digit);
  return is_number ? std::stoi(text) : -1;
}

// The words of a command as bash's printf %q writes it: a backslash before what is special.
std::vector<std::string> words_of(const std::string& command) {
  std::vector<std::string> words(1);
  bool is_escaped = false;
  for (const char byte : command) {
    if (!is_escaped && byte == '\\') {
      is_escaped = true;
    } else if (!is_escaped && byte == ' ') {
      words.emplace_back();
    } else {
      words.back() += byte;
      is_escaped = false;
    }
  }
  return words;
}

bool names_a_path(const std::string& option) {
  return option == "--output-dir" ||
         std::any_of(kNamedFiles.begin(), kNamedFiles.end(),
                     [&](const NamedFile& named) { return named.option == option; });
}

// Behind the program's name.
std::string other_options(const std::vector<std::string>& words) {
  std::vector<std::string> options;
  for (std::size_t i = 1; i < words.size(); ++i) {
    if (names_a_path(words[i])) {
      ++i;
    } else {
      options.push_back(words[i]);
    }
  }
  return join_strings(options, " ");
}

void take_command(const std::string& command, RunLog& log) {
  log.command = trim(command);
  const std::vector<std::string> words = words_of(log.command);
  log.options = other_options(words);
  for (const NamedFile& named : kNamedFiles) {
    const auto last = std::find(words.rbegin(), words.rend(), named.option);
    if (last == words.rend() || last == words.rbegin()) continue;
    log.files.push_back({named.option, *std::prev(last), ""});
  }
}

// "HEX PATH"
void take_checksum(const std::string& text, RunLog& log) {
  const std::size_t blank = text.find(' ');
  if (blank == std::string::npos) return;
  const std::string path = text.substr(blank + 1);
  if (log.runtime.path == path) log.runtime.sha256 = text.substr(0, blank);
  for (LoggedFile& file : log.files) {
    if (file.path == path) file.sha256 = text.substr(0, blank);
  }
}

// "0 seconds=12"
void take_end(const std::string& text, RunLog& log) {
  const std::size_t blank = text.find(' ');
  log.status = number_of(text.substr(0, blank));
  if (blank == std::string::npos) return;
  if (const auto seconds = behind(logged::kSeconds, text.substr(blank + 1))) {
    log.seconds = number_of(*seconds);
  }
}

using Warnings = std::map<std::string, int>;

void take_line(const std::string& line, RunLog& log, Warnings& warnings) {
  if (const auto started = behind(logged::kStarted, line)) {
    log = {};
    warnings.clear();
    log.started = *started;
  } else if (const auto machine = behind(logged::kMachine, line)) {
    log.machine = *machine;
  } else if (const auto command = behind(logged::kCommand, line)) {
    take_command(*command, log);
  } else if (const auto runtime = behind(logged::kRuntime, line)) {
    log.runtime = {"", *runtime, ""};
  } else if (const auto checksum = behind(logged::kChecksum, line)) {
    take_checksum(*checksum, log);
  } else if (const auto begun = behind(logged::kBegun, line)) {
    log.begun = number_of(*begun);
  } else if (const auto end = behind(logged::kStatus, line)) {
    take_end(*end, log);
  } else if (const auto mode = behind(logged::kInputMode, line)) {
    log.input_mode = *mode;
  } else if (const auto used = behind(logged::kUsePlateDet, line)) {
    log.used_plate_det = *used == "true";
  } else if (const auto cases = behind(logged::kCases, line)) {
    log.cases = number_of(*cases);
  } else if (const auto network = behind(logged::kNetwork, line)) {
    log.networks.push_back(*network);
  } else if (behind(logged::kCase, line)) {
    ++log.begun;
  } else if (const auto error = behind("[ERROR] ", line)) {
    log.errors.push_back(*error);
  } else if (const auto warning = behind("[WARN] ", line)) {
    ++warnings[*warning];
  }
}

bool is_of_dictionary(const std::string& warning) { return contains(warning, "dict"); }

std::vector<std::string> told_once(const Warnings& warnings) {
  std::vector<std::string> told;
  for (const auto& [warning, times] : warnings) {
    told.push_back(times == 1 ? warning : warning + " (" + std::to_string(times) + " times)");
  }
  std::stable_partition(told.begin(), told.end(), is_of_dictionary);
  return told;
}

std::string described(const LoggedFile& file) {
  return file.sha256.empty() ? file.path + ", checksum unknown"
                             : file.path + ", SHA-256 " + file.sha256;
}

void add_fact(const char* name, const std::string& value, std::vector<Fact>& facts) {
  if (!value.empty()) facts.push_back({name, value});
}

std::string cases_text(const RunLog& log) {
  if (log.cases < 0) return "";
  return std::to_string(log.begun) + " begun of " + std::to_string(log.cases);
}

std::string duration_text(const RunLog& log) {
  return log.seconds < 0 ? "" : count_of(log.seconds, "second");
}

}  // namespace

const LoggedFile* RunLog::file_of(const std::string& option) const {
  const auto file = std::find_if(files.begin(), files.end(),
                                 [&](const LoggedFile& one) { return one.option == option; });
  return file == files.end() ? nullptr : &*file;
}

RunLog parse_run_log(const std::string& text) {
  RunLog log;
  Warnings warnings;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) take_line(line, log, warnings);
  log.warnings = told_once(warnings);
  return log;
}

std::optional<RunLog> read_run_log(const std::string& output_dir) {
  std::ifstream file(output_dir + "/" + output::kRunLog, std::ios::binary);
  if (!file) return std::nullopt;
  return parse_run_log({std::istreambuf_iterator<char>(file), {}});
}

std::vector<Fact> facts_of(const std::optional<RunLog>& log) {
  if (!log) {
    return {{"Log", std::string("There is no ") + output::kRunLog +
                        " in the output directory: list, networks and options are unknown."}};
  }
  std::vector<Fact> facts;
  add_fact("Command", log->command, facts);
  for (const NamedFile& named : kNamedFiles) {
    const LoggedFile* file = log->file_of(named.option);
    if (file != nullptr) add_fact(named.name, described(*file), facts);
  }
  if (log->command.empty()) {
    add_fact("Networks", join_strings(log->networks, ", "), facts);
  } else {
    add_fact("Other options", log->options.empty() ? "none" : log->options, facts);
  }
  if (!log->runtime.path.empty()) add_fact("Runtime", described(log->runtime), facts);
  add_fact("Machine", log->machine, facts);
  add_fact("Started", log->started.empty() ? "" : log->started + " UTC", facts);
  add_fact("Duration", duration_text(*log), facts);
  add_fact("Cases", cases_text(*log), facts);
  if (facts.empty()) {
    facts.push_back({"Log", std::string(output::kRunLog) + " tells nothing of the run."});
  }
  return facts;
}

}  // namespace kavrel::report
