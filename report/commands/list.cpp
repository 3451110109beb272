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

const std::map<std::string, GroupBy> kWays = {{"", GroupBy::kNothing},
                                              {"directory", GroupBy::kDirectory},
                                              {"name", GroupBy::kName},
                                              {"time", GroupBy::kTime}};

struct NewListOptions : SharedOptions {
  std::vector<std::string> folders;
  std::string group_by;
  Grouping grouping;
  std::string expected_from;
};

Grouping grouping_of(const NewListOptions& options) {
  Grouping grouping = options.grouping;
  grouping.by = kWays.at(options.group_by);
  if ((grouping.by == GroupBy::kName) == grouping.pattern.empty()) {
    throw std::runtime_error(
        "--group-by name and --pattern need each other, as in "
        "--group-by name --pattern '(.*)_f[0-9]+'");
  }
  return grouping;
}

void write_list(const NewListOptions& options) {
  refuse_to_overwrite(options.file);
  const Grouping grouping = grouping_of(options);
  NewList list = list_pictures_below(options.folders);
  group_cases(grouping, list);
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
  CLI::Option& group_by =
      add_text(command, "--group-by", options->group_by,
               "pictures of one vehicle: those of a folder, of a name (--pattern), or taken "
               "within --seconds in a folder [each is one of its own]");
  limit_to({"directory", "name", "time"}, group_by);
  let_need(add_text(command, "--pattern", options->grouping.pattern,
                    "expression for file names without extension; its parentheses hold the group"),
           group_by);
  let_need(add_count(command, "--seconds", options->grouping.seconds,
                     "from a group's first picture to its last, by their EXIF time"),
           group_by);
  limit_to({"name"}, add_text(command, "--expected-from", options->expected_from,
                              "take labels that stand in file names"));
  add_words(command, *options);
}

}  // namespace kavrel::report
