#include "tests/report/report_program.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "tests/support/test_support.h"

namespace kavrel_test {
namespace {

void redirect(int descriptor, const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
}

double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

}  // namespace

ProgramOutcome run_program(const std::vector<std::string>& words) {
  const TempDir dir;
  std::vector<std::string> copies = words;
  std::vector<char*> argv;
  for (std::string& word : copies) argv.push_back(word.data());
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    redirect(STDOUT_FILENO, dir.path("out"));
    redirect(STDERR_FILENO, dir.path("err"));
    execvp(argv.front(), argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) {
    throw std::runtime_error("no process");
  }
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), dir.read("out"),
          dir.read("err"), seconds(usage.ru_utime) + seconds(usage.ru_stime), usage.ru_maxrss};
}

ProgramOutcome run_report(const std::vector<std::string>& arguments, const std::string& dir) {
  std::vector<std::string> words = {KAVREL_REPORT_PROGRAM};
  if (!dir.empty()) words = {"env", "--chdir=" + dir, KAVREL_REPORT_PROGRAM};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return run_program(words);
}

std::string from_base64(const std::string& digits) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  unsigned count = 0;
  for (const char digit : digits) {
    if (digit == '=') break;
    bits = bits << 6U | static_cast<unsigned>(alphabet.find(digit));
    count += 6;
    if (count < 8) continue;
    count -= 8;
    bytes += static_cast<char>(bits >> count & 0xFFU);
  }
  return bytes;
}

}  // namespace kavrel_test
