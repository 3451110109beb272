// The README's table and the man page must say of every option what the program's own table says.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "app/args.h"
#include "tests/support/temp_dir.h"

namespace kavrel {
namespace {

using kavrel_test::lines_of;
using kavrel_test::read_file;

const std::string kSource = KAVREL_SOURCE_DIR;

// How it may be typed: "--input-mode", "-h, --help".
std::string names_of(const Option& option) {
  return (option.short_name != nullptr ? std::string(option.short_name) + ", " : "") + option.name;
}

bool is_flag(const Option& option) { return std::holds_alternative<bool Args::*>(option.effect); }

std::string without(std::string text, char character) {
  text.erase(std::remove(text.begin(), text.end(), character), text.end());
  return text;
}

// The lines between the one that is `first` and the next one that begins with `end`, or is empty.
std::vector<std::string> section(const std::string& path, const std::string& first,
                                 const std::string& end) {
  const std::vector<std::string> lines = lines_of(read_file(kSource + path));
  const auto begin = std::find(lines.begin(), lines.end(), first);
  EXPECT_NE(begin, lines.end()) << path << " has no line " << first;
  if (begin == lines.end()) return {};
  const auto stop = std::find_if(begin + 1, lines.end(), [&](const std::string& line) {
    return end.empty() ? line.empty() : line.rfind(end, 0) == 0;
  });
  return {begin + 1, stop};
}

std::string cell(const std::string& text) { return " " + text + (text.empty() ? "|" : " |"); }

TEST(Readme, ListsEveryOptionWithItsDefaultAndItsHelp) {
  std::vector<std::string> expected = {"|---|---|---|"};
  for (const Option& option : kOptions) {
    const std::string value = is_flag(option) ? "off" : default_of(option);
    expected.push_back("|" + cell(names_of(option)) + cell(value) + cell(option.help));
  }
  std::vector<std::string> rows;
  for (const std::string& row : section("/README.md", "| Option | Default | Meaning |", "")) {
    rows.push_back(without(row, '`'));
  }
  EXPECT_THAT(rows, testing::ElementsAreArray(expected));
}

// The text of a line of the man page: without its macros, but with the quotes that one stands for.
std::string words_of(const std::string& line) {
  if (line.empty() || line[0] != '.') return line;
  std::istringstream words(line);
  std::string macro, word, text;
  words >> macro;
  while (words >> word) {
    const bool joins = text.empty() || word.find_first_not_of(".,:;") == std::string::npos;
    const bool quoted = macro == ".Dq" && text.empty();
    text += (joins ? "" : " ") + (quoted ? '"' + word + '"' : word);
  }
  return text;
}

struct Entry {
  std::string names;  // "--input-mode", "-h, --help"
  std::string text;
};

// "Fl Fl help" is --help and "Fl h" is -h; what follows names the value.
std::string names_of(const std::string& item) {
  std::istringstream words(item);
  std::string word, dashes, names;
  while (words >> word) {
    if (word == "Fl") {
      dashes += "-";
    } else if (!dashes.empty()) {
      names += (names.empty() ? "" : ", ") + dashes + word;
      dashes.clear();
    }
  }
  return names;
}

std::vector<Entry> man_page_entries() {
  std::vector<Entry> entries;
  for (const std::string& line : section("/docs/kavrel.1", ".Sh OPTIONS", ".Sh ")) {
    if (line.rfind(".It ", 0) == 0) {
      entries.push_back({names_of(line.substr(4)), ""});
    } else if (!entries.empty() && line != ".El") {
      entries.back().text += words_of(line) + " ";
    }
  }
  return entries;
}

// The help and the default as sentences.
std::string explanation_of(const Option& option) {
  const std::string value = default_of(option);
  return option.help + std::string(". ") + (value.empty() ? "" : "The default is " + value + ". ");
}

std::string in_lower_case_at_first(std::string text) {
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  return text;
}

TEST(ManPage, ExplainsEveryOptionWithItsDefault) {
  const std::vector<Entry> entries = man_page_entries();
  ASSERT_EQ(entries.size(), kOptions.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    EXPECT_EQ(entries[i].names, names_of(kOptions[i]));
    EXPECT_THAT(in_lower_case_at_first(entries[i].text),
                testing::StartsWith(explanation_of(kOptions[i])));
  }
}

TEST(ManPage, HasEveryOptionInItsSynopsis) {
  std::vector<std::string> expected;
  for (const Option& option : kOptions) expected.emplace_back(option.name);
  std::vector<std::string> names;
  for (const std::string& line : section("/docs/kavrel.1", ".Sh SYNOPSIS", ".Sh ")) {
    const std::string name = names_of(line);
    if (!name.empty()) names.push_back(name.substr(name.find("--")));
  }
  EXPECT_EQ(names, expected);
}

}  // namespace
}  // namespace kavrel
