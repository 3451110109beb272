// Dictionaries and word lists, and the functions on texts that every file is written with.
#include <algorithm>

#include "app/base/files.h"
#include "app/base/text.h"
#include "fuzz/fuzz_support.h"
#include "reading/plate_text.h"

using kavrel_fuzz::MemoryFile;
using kavrel_fuzz::require;

namespace {

void check_lines(const std::string& text) {
  const auto lines = kavrel::read_trimmed_lines(MemoryFile(text).path());
  for (const std::string& line : lines) {
    require(!line.empty() && kavrel::trim(line) == line, "lines are trimmed and not empty");
    require(kavrel::contains(text, line), "a line stands in its file");
  }
  const std::string joined = kavrel::join_strings(lines, "\n");
  require(kavrel::read_trimmed_lines(MemoryFile(joined).path()) == lines,
          "lines that are written down are read again");
}

std::string json_unescape(const std::string& body) {
  std::string text;
  for (std::size_t i = 0; i < body.size(); ++i) {
    require(body[i] != '"' && body[i] != '\n', "the body of a JSON string does not end early");
    const auto escape = body[i] == '\\' ? std::string("\\\"nrt").find(body.at(++i)) : 5;
    require(escape != std::string::npos, "a JSON escape is one of five");
    text += escape == 5 ? body[i] : "\\\"\n\r\t"[escape];
  }
  return text;
}

std::string csv_unescape(const std::string& cell) {
  if (cell.empty() || cell.front() != '"') return cell;
  std::string text;
  for (std::size_t i = 1; i + 1 < cell.size(); ++i) {
    require(cell[i] != '"' || cell.at(++i) == '"', "a quote inside of a CSV cell is doubled");
    text += cell[i];
  }
  return text;
}

// As a POSIX shell reads one word of quoted and of escaped parts.
std::string shell_unquote(const std::string& word) {
  std::string text;
  bool quoted = false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (word[i] == '\'') {
      quoted = !quoted;
    } else {
      require(quoted || word[i] == '\\', "a shell sees nothing but quoted text");
      text += quoted ? word[i] : word.at(++i);
    }
  }
  require(!quoted, "a shell's quote is closed");
  return text;
}

void check_serial(const std::string& text) {
  for (const std::string& run : kavrel::extract_digit_runs(text)) {
    require(!run.empty() && run.front() != '-', "a run begins with a digit");
  }
  const std::string digits = kavrel::digits_only(text);
  require(kavrel::digits_only(kavrel::format_serial(text)) == digits, "a serial keeps its digits");
  require(std::all_of(digits.begin(), digits.end(), kavrel::is_ascii_digit), "digits are digits");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(bytes), size);
  check_lines(text);
  check_serial(text);
  require(json_unescape(kavrel::json_escape(text)) == text, "json_escape is reversible");
  require(csv_unescape(kavrel::csv_escape(text)) == text, "csv_escape is reversible");
  require(shell_unquote(kavrel::shell_quote(text)) == text, "shell_quote is reversible");
  const auto cells = static_cast<long>(kavrel::split_csv_simple(text).size());
  require(cells >= 1 && cells <= 1 + std::count(text.begin(), text.end(), ','),
          "only commas separate cells");
  return 0;
}
