#include "app/base/text.h"

#include <algorithm>
#include <cctype>

namespace kavrel {
namespace {

bool is_blank(char byte) { return std::isspace(static_cast<unsigned char>(byte)) != 0; }

}  // namespace

std::string trim(const std::string& text) {
  const auto first = std::find_if_not(text.begin(), text.end(), is_blank);
  const auto last = std::find_if_not(text.rbegin(), text.rend(), is_blank).base();
  return first < last ? std::string(first, last) : std::string();
}

std::string remove_spaces(const std::string& text) {
  std::string kept;
  for (const char byte : text) {
    if (byte != ' ' && byte != '\t' && byte != '\r' && byte != '\n') kept += byte;
  }
  return kept;
}

bool is_ascii_digit(char byte) { return byte >= '0' && byte <= '9'; }

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

std::string join_strings(const std::vector<std::string>& texts, const std::string& separator) {
  std::string joined;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (i > 0) joined += separator;
    joined += texts[i];
  }
  return joined;
}

std::string basename_no_ext(const std::string& path) {
  // npos + 1 is 0: without a slash the whole path is the name.
  const std::string name = path.substr(path.rfind('/') + 1);
  return name.substr(0, name.rfind('.'));
}

std::string shell_quote(const std::string& text) {
  std::string quoted = "'";
  for (const char byte : text) {
    if (byte == '\'') {
      quoted += "'\\''";
    } else {
      quoted += byte;
    }
  }
  return quoted + "'";
}

std::string csv_escape(const std::string& text) {
  if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
  std::string cell = "\"";
  for (const char byte : text) {
    if (byte == '"') cell += '"';
    cell += byte;
  }
  return cell + "\"";
}

std::string json_escape(const std::string& text) {
  std::string body;
  for (const char byte : text) {
    switch (byte) {
      case '\\':
        body += "\\\\";
        break;
      case '"':
        body += "\\\"";
        break;
      case '\n':
        body += "\\n";
        break;
      case '\r':
        body += "\\r";
        break;
      case '\t':
        body += "\\t";
        break;
      default:
        body += byte;
    }
  }
  return body;
}

std::string json_string(const std::string& text) { return '"' + json_escape(text) + '"'; }

std::string json_object(const std::vector<std::pair<std::string, std::string>>& members) {
  std::vector<std::string> lines;
  for (const auto& [key, value] : members) lines.push_back("  " + json_string(key) + ": " + value);
  return "{\n" + join_strings(lines, ",\n") + "\n}\n";
}

std::vector<std::string> split_csv_simple(const std::string& line, char separator) {
  std::vector<std::string> cells;
  std::string cell;
  bool in_quotes = false;
  for (const char byte : line) {
    if (byte == '"') {
      in_quotes = !in_quotes;
    } else if (byte == separator && !in_quotes) {
      cells.push_back(trim(cell));
      cell.clear();
    } else {
      cell += byte;
    }
  }
  cells.push_back(trim(cell));
  return cells;
}

}  // namespace kavrel
