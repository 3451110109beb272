// What bash offers for the programs with commands, and their man pages, must be what they take.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>

#include "tests/documents/completion.h"
#include "tests/support/temp_dir.h"

namespace kavrel_test {
namespace {

struct Program {
  std::string name;
  std::string path;
  std::string completion;
};

std::ostream& operator<<(std::ostream& out, const Program& program) { return out << program.name; }

class CommandOptions : public testing::TestWithParam<Program> {
 protected:
  Words usage_of(const std::string& command) const {
    return lines_from(GetParam().path + " " + command + " --help");
  }

  // "-o,--output" and "--version" as "--output" and "--version".
  Words options_of(const std::string& command) const {
    Words names = names_in(usage_of(command), "Options");
    for (std::string& name : names) name.erase(0, name.find("--"));
    std::sort(names.begin(), names.end());
    return names;
  }

  Words commands() const { return names_in(usage_of(""), "Subcommands"); }

  Words offered_behind(Words words) const {
    words.insert(words.begin(), GetParam().name);
    return offered(GetParam().completion, words);
  }

 private:
  // The first words of the lines in a section of a usage.
  static Words names_in(const Words& usage, const std::string& section) {
    Words names;
    auto line = std::find(usage.begin(), usage.end(), section + ":");
    if (line == usage.end()) return names;
    for (++line; line != usage.end() && !line->empty(); ++line) {
      if ((*line)[2] != ' ') names.push_back(line->substr(2, line->find(' ', 2) - 2));
    }
    return names;
  }
};

TEST_P(CommandOptions, AreOfferedByBash) {
  Words first = options_of("");
  for (const std::string& command : commands()) first.push_back(command);
  std::sort(first.begin(), first.end());
  EXPECT_EQ(offered_behind({""}), first);
  ASSERT_FALSE(commands().empty());
  for (const std::string& command : commands()) {
    EXPECT_EQ(offered_behind({command, "-"}), options_of(command)) << command;
  }
}

TEST_P(CommandOptions, StandInTheManPage) {
  const std::string page = read_file(KAVREL_SOURCE_DIR "/docs/" + GetParam().name + ".1");
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

#ifdef KAVREL_REPORT_PROGRAM
INSTANTIATE_TEST_SUITE_P(Report, CommandOptions,
                         testing::Values(Program{"kavrel-report", KAVREL_REPORT_PROGRAM,
                                                 "_kavrel_report"}));
#endif
#ifdef KAVREL_SHARD_PROGRAM
INSTANTIATE_TEST_SUITE_P(Shard, CommandOptions,
                         testing::Values(Program{"kavrel-shard", KAVREL_SHARD_PROGRAM,
                                                 "_kavrel_shard"}));
#endif
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(CommandOptions);

}  // namespace
}  // namespace kavrel_test
