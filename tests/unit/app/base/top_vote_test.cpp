#include "app/base/top_vote.h"

#include <gtest/gtest.h>

namespace kavrel {
namespace {

TEST(TopVote, TakesTheGreatestTotalWhereverItStands) {
  EXPECT_EQ(pick_top_vote({{"a", 3}, {"b", 2}, {"c", 1}}), "a");
  EXPECT_EQ(pick_top_vote({{"a", 1}, {"b", 3}, {"c", 2}}), "b");
  EXPECT_EQ(pick_top_vote({{"a", 1}, {"b", 2}, {"c", 3}}), "c");
}

TEST(TopVote, TakesTheFirstInByteOrderOfEqualTotals) {
  EXPECT_EQ(pick_top_vote({{"か", 5}, {"あ", 5}, {"い", 4}}), "あ");
  EXPECT_EQ(pick_top_vote({{"123", 5}, {"12-34", 5}}), "12-34");
  EXPECT_EQ(pick_top_vote({{"a", 5}, {"B", 5}}), "B");
}

TEST(TopVote, NeverChoosesATotalThatIsNotPositive) {
  EXPECT_EQ(pick_top_vote({{"a", 0}, {"b", -1}}), "");
  EXPECT_EQ(pick_top_vote({{"a", -1}, {"b", 1}}), "b");
}

TEST(TopVote, ChoosesNothingFromNoVotes) { EXPECT_EQ(pick_top_vote({}), ""); }

}  // namespace
}  // namespace kavrel
