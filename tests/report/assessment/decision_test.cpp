#include "report/assessment/decision.h"

#include <gtest/gtest.h>

#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

using kavrel_test::kWords;
using kavrel_test::small_run;

TEST(FrameDecision, CountsTheVotesAgain) {
  const FrameDecision decision = decide_frame(small_run()[3], kWords);  // b1
  EXPECT_TRUE(decision.as_recorded);
  EXPECT_FALSE(decision.kana_from_fallback);
  EXPECT_EQ(votes_for(decision.plate.totals, kFields[2], "き"), 3);
  EXPECT_EQ(votes_for(decision.plate.totals, kFields[2], "さ"), 2);
  EXPECT_EQ(votes_for(decision.plate.totals, kFields[2], "う"), 0);
  const auto kana = ranking(decision.plate.totals, kFields[2]);
  ASSERT_EQ(kana.size(), 2U);
  EXPECT_EQ(kana[0].value, "き");
  EXPECT_EQ(kana[1].value, "さ");
}

TEST(FrameDecision, KnowsAKanaOfTheFallback) {
  EXPECT_TRUE(decide_frame(small_run()[4], kWords).kana_from_fallback);  // b2
  EXPECT_TRUE(decide_frame(small_run()[4], kWords).as_recorded);
}

TEST(FrameDecision, TellsThatOtherWordsWereUsed) {
  EXPECT_FALSE(decide_frame(small_run()[0], {"品"}).as_recorded);
}

}  // namespace
}  // namespace kavrel::report
