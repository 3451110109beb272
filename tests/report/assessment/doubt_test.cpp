#include "report/assessment/doubt.h"

#include <gtest/gtest.h>

#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

using kavrel_test::FrameResult;
using kavrel_test::kWords;
using kavrel_test::small_run;

// Of the only group of these frames.
VehicleDoubt doubt_of_frames(const std::vector<FrameResult>& frames) {
  const kavrel_test::OutputDir dir;
  dir.write_finished(frames);
  const RecordedRun run = read_run(dir.path(), RunDepth::kTables);
  return doubt_of(run, run.groups.at(0), kWords);
}

std::string keys(const VehicleDoubt& vehicle) {
  std::string keys;
  for (const FieldDoubt& field : vehicle.fields) keys += std::string(key_of(field.doubt)) + ",";
  return keys;
}

TEST(Doubt, IsNoneWhereAllFramesAgree) {
  const VehicleDoubt vehicle = doubt_of_frames({small_run()[0], small_run()[2]});  // a1, a3
  EXPECT_EQ(keys(vehicle), ",,,,");
  EXPECT_EQ(vehicle.weight(), 0);
}

TEST(Doubt, IsWhereAFrameDisagrees) {
  const VehicleDoubt vehicle =
      doubt_of_frames({small_run()[0], small_run()[1], small_run()[2]});  // a
  EXPECT_EQ(keys(vehicle), ",,frames,,");
  ASSERT_FALSE(vehicle.others.empty());
  EXPECT_EQ(vehicle.others[0].final_plate_number, "品川 330 い 12-34");
}

// Of b1 き has three votes and さ two.
TEST(Doubt, IsWhereVotesAreClose) {
  EXPECT_EQ(keys(doubt_of_frames({small_run()[3]})), ",,votes,,");
}

TEST(Doubt, IsWhereAKanaWasSearched) {
  EXPECT_EQ(keys(doubt_of_frames({small_run()[4]})), ",,searched,,");  // b2
}

TEST(Doubt, CountsAFieldThatWasNotReadTwice) {
  const VehicleDoubt vehicle = doubt_of_frames({small_run()[5]});  // c1
  EXPECT_EQ(keys(vehicle), "empty,empty,empty,empty,");
  EXPECT_EQ(vehicle.weight(), 8);
}

}  // namespace
}  // namespace kavrel::report
