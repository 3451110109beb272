// A small run for each cause.
#include "report/assessment/cause.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "report/assessment/assessment.h"
#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

using kavrel_test::frame_of;
using kavrel_test::kWords;
using kavrel_test::OutputDir;
using testing::ElementsAre;

const std::string kPlate = "品川 330 あ 12-34";
const std::vector<OcrText> kReadRight = {{"gray_upper_row", "品川330"},
                                         {"gray_lower_row", "あ12-34"}};

std::vector<std::string> keys_of(const std::vector<std::optional<Cause>>& causes) {
  std::vector<std::string> keys;
  for (const auto& cause : causes) keys.emplace_back(cause ? entry_of(*cause).key : "");
  return keys;
}

struct Causes {
  std::vector<std::string> frames;
  std::vector<std::string> groups;
};

Causes causes_in(const OutputDir& dir, const std::vector<FrameResult>& frames) {
  dir.write_finished(frames);
  const Assessment assessment = assess(read_run(dir.path()), kWords);
  return {keys_of(assessment.frame_causes), keys_of(assessment.group_causes)};
}

Causes causes_in(const std::vector<FrameResult>& frames) { return causes_in(OutputDir(), frames); }

std::string cause_of(const std::string& expected, const std::vector<OcrText>& readings) {
  const Causes causes = causes_in({frame_of("g", "1.jpg", expected, readings)});
  EXPECT_EQ(causes.frames, causes.groups);
  return causes.frames.front();
}

TEST(Causes, HaveNoneWithoutAFault) {
  EXPECT_EQ(cause_of(kPlate, kReadRight), "");
  EXPECT_EQ(cause_of("", kReadRight), "");
}

TEST(Causes, TellThatAPlateCannotBeProduced) {
  for (const char* plate :
       {"品川 330 あ ・・12", "品川 330 あ 1", "品川 33 あ 12-34", "品川 30A あ 12-34",
        "東京 330 あ 12-34", "品川 330 Y 12-34", "品川 330 へ 12-34"}) {
    EXPECT_EQ(cause_of(plate, kReadRight), "out-of-reach") << plate;
  }
}

TEST(Causes, TellThatALabelIsSpelledDifferently) {
  for (const char* plate : {"品川　330　あ　12-34", "品川 ３３０ あ １２－３４",
                            "品川 330 あ 12‐34", "品川 330 あ 12ー34", "品川 330 ア 12-34",
                            "品川 330 あ 1234", "品川330あ1234", "a plate"}) {
    EXPECT_EQ(cause_of(plate, kReadRight), "label") << plate;
  }
  EXPECT_EQ(
      cause_of("品川 330 あ ・123", {{"gray_upper_row", "品川330"}, {"gray_lower_row", "あ123"}}),
      "label");
}

TEST(Causes, TellThatTextWasNeverRead) {
  EXPECT_EQ(cause_of(kPlate, {}), "not-read");
  EXPECT_EQ(cause_of(kPlate, {{"gray_upper_row", "品川330"}, {"gray_lower_row", "い12-34"}}),
            "not-read");
}

TEST(Causes, TellThatTheOtherRowWasTaken) {
  // The class number is the one run of three digits, and votes for the serial, too.
  EXPECT_EQ(cause_of(kPlate, {{"gray_upper_row", "品川330"}, {"gray_lower_row", "あ"}}),
            "other-row");
  EXPECT_EQ(cause_of("品川 330 あ 123", {{"gray_upper_row", "品川"}, {"gray_lower_row", "あ123"}}),
            "other-row");
}

TEST(Causes, TellWhatWasOutvoted) {
  EXPECT_EQ(cause_of(kPlate, {{"gray_upper_row", "品川330"},
                              {"gray_lower_row", "い12-34"},
                              {"gray_full", "品川330あ12-34"}}),
            "outvoted");
}

TEST(Causes, TellATie) {
  EXPECT_EQ(cause_of("品川 330 い 12-34", {{"gray_upper_row", "品川330"},
                                           {"gray_lower_row", "い12-34"},
                                           {"clahe_lower_row", "あ12-34"}}),
            "tie");
}

TEST(Causes, TellWhatTheKanaSearchInvented) {
  FrameResult frame =
      frame_of("g", "1.jpg", kPlate, {{"gray_upper_row", "品川330"}, {"gray_lower_row", "12-34"}});
  frame.fields.kana = "い";
  frame.fields.final_plate_number = assemble_plate_number(frame.fields);
  EXPECT_THAT(causes_in({frame}).frames, ElementsAre("kana-search"));
}

TEST(Causes, TellTwoPlatesByTheirLabels) {
  const auto first = frame_of("h", "3.jpg", kPlate, {});
  const auto second = frame_of("h", "4.jpg", "横浜 500 さ 56-78",
                               {{"gray_upper_row", "横浜500"}, {"gray_lower_row", "さ56-78"}});
  const auto one_label = frame_of("g", "1.jpg", "品川330あ1234", kReadRight);
  const auto spelled_otherwise = frame_of("g", "2.jpg", kPlate, kReadRight);
  const Causes causes = causes_in({first, second, one_label, spelled_otherwise});
  EXPECT_THAT(causes.frames, ElementsAre("not-read", "", "label", ""));
  EXPECT_THAT(causes.groups, ElementsAre("label", "two-plates"));
}

TEST(Causes, TellTwoPlatesByTheirReadings) {
  const std::vector<OcrText> other = {{"gray_upper_row", "横浜500"}, {"gray_lower_row", "さ56-78"}};
  const Causes causes =
      causes_in({frame_of("g", "1.jpg", kPlate, other), frame_of("g", "2.jpg", kPlate, kReadRight),
                 frame_of("g", "3.jpg", kPlate, other)});
  EXPECT_THAT(causes.frames, ElementsAre("two-plates", "", "two-plates"));
  EXPECT_THAT(causes.groups, ElementsAre("two-plates"));
}

TEST(Causes, AreNotToldByAVoteThatWasNotTheRunsOwn) {
  FrameResult frame = frame_of("g", "1.jpg", kPlate, kReadRight);
  frame.fields.region = "横浜";
  frame.fields.final_plate_number = assemble_plate_number(frame.fields);
  EXPECT_THAT(causes_in({frame}).frames, ElementsAre("untold"));
}

TEST(Causes, OfAGroupAreThoseOfMostOfItsFrames) {
  const std::vector<OcrText> outvoted = {{"gray_upper_row", "品川330"},
                                         {"gray_lower_row", "い12-34"},
                                         {"gray_full", "品川330あ12-34"}};
  const auto nothing = frame_of("g", "1.jpg", kPlate, {});
  const auto second = frame_of("g", "2.jpg", kPlate, outvoted);
  const auto third = frame_of("g", "3.jpg", kPlate, outvoted);
  EXPECT_THAT(causes_in({nothing, second, third}).groups, ElementsAre("outvoted"));
  EXPECT_THAT(causes_in({nothing, second}).groups, ElementsAre("not-read"));
}

TEST(Causes, HaveKeysOfTheirOwn) {
  std::set<std::string> keys;
  for (std::size_t i = 0; i < kCauses.size(); ++i) {
    EXPECT_EQ(static_cast<std::size_t>(kCauses[i].cause), i);
    EXPECT_TRUE(keys.insert(kCauses[i].key).second) << kCauses[i].key;
  }
}

}  // namespace
}  // namespace kavrel::report
