// Runs of the built kavrel that fail at one stage each, on scripted networks: what kavrel-report
// names as their cause, and as exchanged between two of them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "report/assessment/assessment.h"
#include "report/assessment/compare.h"
#include "report/assessment/parting.h"
#include "report/run/run.h"
#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

using kavrel::report::Assessment;
using kavrel::report::Parting;
using kavrel::report::RecordedRun;
using kavrel::report::Stage;
using testing::ElementsAre;

const std::vector<std::string> kWords = {"品川", "横浜"};

const PlateTexts kNothing = {"", "", "", ""};
const PlateTexts kOtherKana = {"品川500か12-34", "品川500", "か12-34", "12-34"};

// Of a picture of 600 x 300: a plate's box, and corners within it.
constexpr const char* kBox = "answer * 0 floats 0 0.9 0.25 0.25 0.5 0.6\n";
constexpr const char* kCorners = "answer * 0 floats 0.12 0.15 0.88 0.15 0.88 0.85 0.12 0.85\n";

class Stages : public ProgramTest {
 protected:
  Stages() {
    write(kPlateModel, plate_detector_script(kBox));
    write(kCornerModel, corner_script(kCorners));
    expect(kShinagawaNumber);
  }

  void expect(const std::string& label) const {
    list_cases("street.png," + label + ",street\n");
    write_image("street.png", gradient_image(600, 300));
  }

  void read_as(const PlateTexts& texts) const {
    write(kReaderModel, reader_script(reads_every_plate(texts)));
  }

  RecordedRun run_into(const std::string& output_dir) const {
    const Outcome outcome = run({"--input-mode", "frame", "--output-dir", output_dir});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return kavrel::report::read_run(absolute(output_dir));
  }

  // The causes of the frames.
  std::vector<std::string> causes() const {
    const Assessment assessment = assess(run_into("output"), kWords);
    std::vector<std::string> keys;
    for (const auto& cause : assessment.frame_causes) {
      keys.emplace_back(cause ? entry_of(*cause).key : "");
    }
    return keys;
  }
};

TEST_F(Stages, HaveNoCauseWhereAllIsRight) { EXPECT_THAT(causes(), ElementsAre("")); }

TEST_F(Stages, NameTheDetectorThatFoundNoPlate) {
  write(kPlateModel, plate_detector_script(""));
  read_as(kOtherKana);
  EXPECT_THAT(causes(), ElementsAre("no-plate"));
}

TEST_F(Stages, NameTheDetectorWhoseBoxHoldsNoText) {
  read_as(kNothing);
  EXPECT_THAT(causes(), ElementsAre("box-beside"));
}

TEST_F(Stages, NameTheCornersThatMakeNoPlate) {
  write(kCornerModel, corner_script("answer * 0 floats 0.1 0.2 0.3 0.2 0.9 0.8 0.1 0.8\n"));
  read_as(kOtherKana);
  EXPECT_THAT(causes(), ElementsAre("corners"));
}

TEST_F(Stages, NameTheTextThatWasNeverRead) {
  read_as(kOtherKana);
  EXPECT_THAT(causes(), ElementsAre("not-read"));
}

TEST_F(Stages, NameTheRowThatStandsInForTheOther) {
  read_as({"品川500あ", "品川500", "あ", ""});
  EXPECT_THAT(causes(), ElementsAre("other-row"));
}

TEST_F(Stages, NameTheVote) {
  read_as({"品川500あ12-34", "品川500", "か12-34", "12-34"});
  EXPECT_THAT(causes(), ElementsAre("outvoted"));
}

// Of the five variants' lower rows two read わ, two あ, which comes first.
TEST_F(Stages, NameATie) {
  expect("品川 500 わ 12-34");
  write(kReaderModel, reader_script(reads_every_plate({"品川500", "品川500", "12-34", "12-34"}) +
                                    reads("3-7/4", "わ12-34") + reads("11-15/4", "あ12-34")));
  EXPECT_THAT(causes(), ElementsAre("tie"));
}

TEST_F(Stages, NameTheKanaSearch) {
  write(kReaderModel, reader_script(reads_plate({"品川500", "品川500", "12-34", "12-34"}) +
                                    reads("21-300", "か")));
  EXPECT_THAT(causes(), ElementsAre("kana-search"));
}

TEST_F(Stages, NameThePlateThatIsOutOfReach) {
  expect("品川 500 あ ・・12");
  EXPECT_THAT(causes(), ElementsAre("out-of-reach"));
}

TEST_F(Stages, NameTheLabelsSpelling) {
  expect("品川 500 あ 12ー34");
  EXPECT_THAT(causes(), ElementsAre("label"));
}

TEST_F(Stages, NameAGroupOfTwoPlates) {
  list_cases("street.png," + kShinagawaNumber + ",street\nother.png," + kShinagawaNumber +
             ",street\n");
  write_image("other.png", gradient_image(600, 300));
  write(kReaderModel,
        reader_script(reads_plate(kShinagawa) +
                      reads_plate({"横浜330さ56-78", "横浜330", "さ56-78", "56-78"}, 21)));
  EXPECT_THAT(causes(), ElementsAre("", "two-plates"));
}

// What was exchanged between a run and a second one.
class Exchange : public Stages {
 protected:
  Exchange() : base_(run_into("base")) {}

  std::vector<std::string> exchanged() const {
    const RecordedRun fresh = run_into("fresh");
    const auto comparison =
        compare_runs(base_, assess(base_, kWords), fresh, assess(fresh, kWords));
    return exchanged_in(find_parting(base_, fresh, comparison));
  }

  const RecordedRun base_;
};

TEST_F(Exchange, OfNothingIsNotNamed) { EXPECT_THAT(exchanged(), ElementsAre()); }

TEST_F(Exchange, OfTheDetectorIsNamed) {
  write(kPlateModel, plate_detector_script("answer * 0 floats 0 0.9 0.2 0.25 0.5 0.6\n"));
  EXPECT_THAT(
      exchanged(),
      ElementsAre("the plate detector, its options, or the pictures: 1 frame parts at the crop"));
}

TEST_F(Exchange, OfTheCornersIsNamed) {
  write(kCornerModel, corner_script("answer * 0 floats 0.1 0.15 0.88 0.15 0.88 0.85 0.12 0.85\n"));
  EXPECT_THAT(exchanged(), ElementsAre("the corner network: 1 frame parts at the corners"));
}

TEST_F(Exchange, OfTheTextDetectorIsNamed) {
  write(kLinesModel,
        line_detector_script("answer * 0 fill 4096 0\nanswer * 0 rect 8 32 48 24 1\n"));
  EXPECT_THAT(exchanged(), ElementsAre("the text detector: 1 frame parts at the text lines"));
}

TEST_F(Exchange, OfTheRecogniserIsNamed) {
  read_as(kOtherKana);
  EXPECT_THAT(exchanged(),
              ElementsAre("the recogniser or its dictionary: 1 frame parts at the readings"));
}

TEST_F(Exchange, OfTheRegionWordsIsNamed) {
  write(kRegionWords, "横浜\n");
  EXPECT_THAT(exchanged(), ElementsAre("the region words: 1 frame parts at the fields"));
}

TEST_F(Exchange, IsNotToldWithoutPictures) {
  read_as(kOtherKana);
  remove("base/cases");
  EXPECT_THAT(exchanged(), ElementsAre());
}

}  // namespace
}  // namespace kavrel_test
