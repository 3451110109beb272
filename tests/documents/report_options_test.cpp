// What bash offers for kavrel-report, and its man page, must be what kavrel-report takes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "tests/documents/completion.h"
#include "tests/support/temp_dir.h"

namespace kavrel_test {
namespace {

Words usage_of(const std::string& command) {
  return lines_from(KAVREL_REPORT_PROGRAM " " + command + " --help");
}

// The first words of the lines in a section of a usage.
Words names_in(const Words& usage, const std::string& section) {
  Words names;
  auto line = std::find(usage.begin(), usage.end(), section + ":");
  if (line == usage.end()) return names;
  for (++line; line != usage.end() && !line->empty(); ++line) {
    if ((*line)[2] != ' ') names.push_back(line->substr(2, line->find(' ', 2) - 2));
  }
  return names;
}

// "-o,--output" and "--version" as "--output" and "--version".
Words options_of(const std::string& command) {
  Words names = names_in(usage_of(command), "Options");
  for (std::string& name : names) name.erase(0, name.find("--"));
  std::sort(names.begin(), names.end());
  return names;
}

Words commands() { return names_in(usage_of(""), "Subcommands"); }

TEST(ReportCompletion, OffersEveryCommandAtFirst) {
  Words expected = options_of("");
  for (const std::string& command : commands()) expected.push_back(command);
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(offered("_kavrel_report", {"kavrel-report", ""}), expected);
}

TEST(ReportCompletion, OffersTheOptionsOfEachCommand) {
  ASSERT_FALSE(commands().empty());
  for (const std::string& command : commands()) {
    EXPECT_EQ(offered("_kavrel_report", {"kavrel-report", command, "-"}), options_of(command))
        << command;
  }
}

TEST(ReportManPage, NamesEveryCommandAndOption) {
  const std::string page = read_file(KAVREL_SOURCE_DIR "/docs/kavrel-report.1");
  const auto has = [&](const std::string& entry) {
    EXPECT_THAT(page, testing::HasSubstr("\n.It " + entry));
  };
  for (const std::string& option : options_of("")) {
    if (option != "--help") has("Fl Fl " + option.substr(2));
  }
  for (const std::string& command : commands()) {
    has("Cm " + command + "\n");
    for (const std::string& option : options_of(command)) {
      EXPECT_THAT(page, testing::ContainsRegex("\n.It .*Fl Fl " + option.substr(2) + "[ \n]"));
    }
  }
}

}  // namespace
}  // namespace kavrel_test
