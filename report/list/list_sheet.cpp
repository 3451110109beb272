#include "report/list/list_sheet.h"

#include <iconv.h>
#include <utf8.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "app/base/files.h"
#include "app/base/output_format.h"
#include "app/base/text.h"

namespace kavrel::report {
namespace {

constexpr std::string_view kMark = "\xEF\xBB\xBF";  // the byte order mark in UTF-8

// What people call kavrel's columns. Names are compared in lower case, with "_" for blanks and
// hyphens.
struct Alias {
  const char* name;
  const char* meant;
};

constexpr std::array<Alias, 22> kAliases = {{
    {"image_path", output::column::kImagePath}, {"imagepath", output::column::kImagePath},
    {"image", output::column::kImagePath},      {"path", output::column::kImagePath},
    {"file", output::column::kImagePath},       {"filename", output::column::kImagePath},
    {"file_name", output::column::kImagePath},  {"picture", output::column::kImagePath},
    {"画像", output::column::kImagePath},       {"ファイル名", output::column::kImagePath},
    {"expected", output::column::kExpected},    {"label", output::column::kExpected},
    {"plate", output::column::kExpected},       {"plate_number", output::column::kExpected},
    {"ナンバー", output::column::kExpected},    {"正解", output::column::kExpected},
    {"group_id", output::column::kGroupId},     {"groupid", output::column::kGroupId},
    {"group", output::column::kGroupId},        {"vehicle", output::column::kGroupId},
    {"車両", output::column::kGroupId},         {"グループ", output::column::kGroupId},
}};

std::string meant_by(const std::string& name) {
  std::string key = name;
  std::transform(key.begin(), key.end(), key.begin(), [](char byte) {
    if (byte == ' ' || byte == '-') return '_';
    return static_cast<char>(std::tolower(static_cast<unsigned char>(byte)));
  });
  const auto* const alias =
      std::find_if(kAliases.begin(), kAliases.end(), [&](const Alias& a) { return key == a.name; });
  return alias == kAliases.end() ? name : alias->meant;
}

// Nothing if the bytes are not in `encoding`, a name of iconv's.
std::optional<std::string> from_encoding(const char* encoding, std::string bytes) {
  iconv_t converter = iconv_open("UTF-8", encoding);
  // NOLINTNEXTLINE(performance-no-int-to-ptr): POSIX says so that it has no such converter.
  if (converter == reinterpret_cast<iconv_t>(-1)) return std::nullopt;
  std::string text(bytes.size() * 3, '\0');  // no character of these encodings takes more
  char* from = bytes.data();
  char* to = text.data();
  std::size_t from_left = bytes.size();
  std::size_t to_left = text.size();
  const bool whole =
      iconv(converter, &from, &from_left, &to, &to_left) != static_cast<std::size_t>(-1);
  iconv_close(converter);
  if (!whole) return std::nullopt;
  text.resize(text.size() - to_left);
  return text;
}

bool begins_with(const std::string& bytes, std::string_view mark) {
  return bytes.compare(0, mark.size(), mark) == 0;
}

// The file's text in UTF-8; its bytes where no encoding fits.
std::string decode(const std::string& bytes, ListSheet& sheet) {
  const bool is_utf16 = begins_with(bytes, "\xFF\xFE") || begins_with(bytes, "\xFE\xFF");
  if (!is_utf16 && utf8::is_valid(bytes.begin(), bytes.end())) {
    sheet.encoding = "UTF-8";
    sheet.byte_order_mark = begins_with(bytes, kMark);
    return sheet.byte_order_mark ? bytes.substr(kMark.size()) : bytes;
  }
  const auto text = from_encoding(is_utf16 ? "UTF-16" : "CP932", bytes);
  if (!text) return bytes;
  sheet.encoding = is_utf16 ? "UTF-16" : "Shift-JIS";
  return *text;
}

// Of the first line: a comma, if it has one, or else what there is more of.
char separator_of(const std::string& line) {
  const auto count = [&](char byte) { return std::count(line.begin(), line.end(), byte); };
  if (count(',') > 0 || (count(';') == 0 && count('\t') == 0)) return ',';
  return count(';') > count('\t') ? ';' : '\t';
}

void read_rows(const std::string& text, ListSheet& sheet) {
  sheet.lone_returns = contains(text, "\r") && !contains(text, "\n");
  std::istringstream lines(text);
  int number = 0;
  bool is_first = true;
  for (std::string line; std::getline(lines, line, sheet.lone_returns ? '\r' : '\n');) {
    ++number;
    if (trim(line).empty()) continue;
    if (is_first) sheet.separator = separator_of(line);
    is_first = false;
    const bool open_quote = std::count(line.begin(), line.end(), '"') % 2 != 0;
    // Trimmed as kavrel does; but a tab at the end is a cell here.
    const std::string kept = sheet.separator == '\t' ? line : trim(line);
    sheet.rows.push_back({number, split_csv_simple(kept, sheet.separator), open_quote});
  }
}

void take_header(ListSheet& sheet) {
  if (sheet.rows.empty()) return;
  const ListCells& first = sheet.rows.front().cells;
  sheet.has_header = std::any_of(first.begin(), first.end(), [](const std::string& cell) {
    return meant_by(cell) == output::column::kImagePath;
  });
  if (!sheet.has_header) {
    for (const char* name : kListColumns) {
      sheet.columns.push_back({"", name});
    }
    return;
  }
  for (const std::string& name : first) sheet.columns.push_back({name, meant_by(name)});
  sheet.header_line = sheet.rows.front().line;
  sheet.rows.erase(sheet.rows.begin());
}

}  // namespace

ListCells ListSheet::meant_header() const {
  ListCells names;
  for (const SheetColumn& column : columns) names.push_back(column.meant);
  return names;
}

ListSheet read_list_sheet(const std::string& path) {
  const auto bytes = read_file_binary(path);
  ListSheet sheet;
  sheet.path = path;
  read_rows(decode({bytes.begin(), bytes.end()}, sheet), sheet);
  take_header(sheet);
  return sheet;
}

}  // namespace kavrel::report
