// Functions on byte strings. Text is UTF-8 that is never decoded: multi-byte characters pass
// through untouched and are never blanks, digits or separators. None of these functions throws.
#ifndef KAVREL_APP_BASE_TEXT_H
#define KAVREL_APP_BASE_TEXT_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kavrel {

// `text` without ASCII blanks (space, \t, \n, \v, \f, \r) at both ends.
std::string trim(const std::string& text);

// `text` without any space, \t, \r or \n. Narrower than trim: \v and \f are kept.
std::string remove_spaces(const std::string& text);

// '0' to '9' only.
bool is_ascii_digit(char byte);

bool contains(std::string_view text, std::string_view part);

std::string join_strings(const std::vector<std::string>& texts, const std::string& separator);

// File name without directory and without everything from its last dot on.
std::string basename_no_ext(const std::string& path);

// One word for a POSIX shell, in single quotes.
std::string shell_quote(const std::string& text);

// A CSV cell: quoted, with inner quotes doubled, only if it holds a comma, a quote, \n or \r.
std::string csv_escape(const std::string& text);

// The body of a JSON string: \\, \", \n, \r and \t escaped, every other byte as it is.
std::string json_escape(const std::string& text);

// A JSON string in its quotes.
std::string json_string(const std::string& text);

// A flat JSON object, one member per line. Values are JSON already.
std::string json_object(const std::vector<std::pair<std::string, std::string>>& members);

// The trimmed cells of one line. A quote only switches whether commas separate and is dropped;
// a doubled quote yields none, so this is not the inverse of csv_escape.
std::vector<std::string> split_csv_simple(const std::string& line, char separator = ',');

}  // namespace kavrel

#endif
