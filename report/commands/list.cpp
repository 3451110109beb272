#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <stdexcept>
#include <vector>

#include "app/base/log.h"
#include "report/base/wording.h"
#include "report/commands/commands.h"
#include "report/commands/list_file.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/list/new_list.h"

namespace kavrel::report {
namespace {

struct NewListOptions : SharedOptions {
  std::vector<std::string> folders;
  Grouping grouping;
  std::string expected_from;
};

void write_list(const NewListOptions& options) {
  refuse_to_overwrite(options.file);
  const bool wants_pattern = options.grouping.by == GroupBy::kName;
  if (wants_pattern == options.grouping.pattern.empty()) {
    throw std::runtime_error("--group-by name and --pattern need each other");
  }
  NewList list = list_pictures_below(options.folders);
  if (list.cases.empty()) throw std::runtime_error("there is no picture below the folders");
  group_cases(options.grouping, list);
  if (!options.expected_from.empty()) label_by_name(region_words(options), list);
  remark_on_cases(list);
  for (const ListRemark& remark : list.remarks) log_remark(remark);
  write_file(options.file, [&](std::ostream& out) { out << list_text(list); });
  log_line(count_of(list.cases.size(), "picture") + " of " + count_of(count_groups(list), "group"));
}

}  // namespace

void add_list(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<NewListOptions>();
  CLI::App& command = add_command(app, "list", "A case list of every picture below folders",
                                  "pictures -o list.csv --group-by name --pattern '(.*)_f[0-9]+'",
                                  [options] { write_list(*options); });
  require(add_texts(command, "DIR", options->folders, "folders of pictures"));
  require(add_text(command, "-o,--output", options->file, "the new list; - is standard output"));
  const std::map<std::string, GroupBy> ways = {
      {"directory", GroupBy::kDirectory}, {"name", GroupBy::kName}, {"time", GroupBy::kTime}};
  command
      .add_option("--group-by", options->grouping.by,
                  "pictures of one vehicle: those of a folder, of a name (--pattern), or taken "
                  "within --seconds in a folder [each is one of its own]")
      ->transform(CLI::Transformer(ways).description("directory|name|time"))
      ->type_name("");
  add_text(command, "--pattern", options->grouping.pattern,
           "expression for file names without extension; its parentheses hold the group");
  command
      .add_option("--seconds", options->grouping.seconds,
                  "from a group's first picture to its last, by their EXIF time")
      ->capture_default_str()
      ->check(CLI::NonNegativeNumber);
  limit_to({"name"}, add_text(command, "--expected-from", options->expected_from,
                              "take labels that stand in file names"));
  add_words(command, *options);
}

}  // namespace kavrel::report
