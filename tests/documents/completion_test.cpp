// What bash offers for kavrel must be what kavrel takes.
#include "tests/documents/completion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "app/args.h"

namespace kavrel {
namespace {

using kavrel_test::offered;
using kavrel_test::Words;

Words sorted_choices(const Option& option) {
  Words choices;
  std::string text = option.choices == nullptr ? "" : option.choices;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('|'), text.size());
    choices.push_back(text.substr(0, end));
    text.erase(0, end + 1);
  }
  std::sort(choices.begin(), choices.end());
  return choices;
}

TEST(Completion, OffersEveryOptionWhereKavrelTakesNoValue) {
  Words names;
  for (const Option& option : kOptions) names.emplace_back(option.name);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(offered("_kavrel", {"kavrel", "-"}), names);
  EXPECT_EQ(offered("_kavrel", {"kavrel", ""}), names);
  EXPECT_EQ(offered("_kavrel", {"kavrel", "--fail-on-error", "--"}), names);
}

TEST(Completion, OffersTheChoicesOrNothingWhereKavrelTakesAValue) {
  for (const Option& option : kOptions) {
    if (default_of(option).empty()) continue;
    EXPECT_EQ(offered("_kavrel", {"kavrel", option.name, ""}), sorted_choices(option))
        << option.name;
  }
}

}  // namespace
}  // namespace kavrel
