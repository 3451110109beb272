#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

const std::string kRight = "品川500あ12-34";  // what every plate reads unless told
const std::string kWrong = "横浜500あ12-34";
const std::vector<std::string> kPictures = {"a.png", "b.png", "c.png"};

class Report : public ProgramTest {
 protected:
  // Rows of summary.csv after the header.
  std::vector<std::string> groups() const {
    auto rows = lines_of(read(kOutput + "/summary.csv"));
    EXPECT_EQ(rows.at(0) + "\n", kSummaryHeader);
    rows.erase(rows.begin());
    return rows;
  }

  // The row of a group whose frames all read kShinagawa.
  static std::string row(const std::string& group, const std::string& expected,
                         const std::string& status, int frames) {
    return group + "," + expected + "," + kShinagawaNumber + "," + status + "," + kShinagawaFields +
           "," + std::to_string(frames);
  }

  static std::string totals(const std::string& of, int correct, int failed) {
    return of + "_total=" + std::to_string(correct + failed) + " " + of +
           "_correct=" + std::to_string(correct) + " " + of +
           "_check_or_failed=" + std::to_string(failed) + "\n";
  }
};

TEST_F(Report, OrdersGroupsByTheirBytes) {
  list_cases("a.png,,b\nb.png,,a\nc.png,,B\na.png,,car2\nb.png,,car10\nc.png,,あ\na.png,,a\n",
             kPictures);
  run();
  EXPECT_THAT(groups(), ElementsAre(row("B", "", "unknown", 1), row("a", "", "unknown", 2),
                                    row("b", "", "unknown", 1), row("car10", "", "unknown", 1),
                                    row("car2", "", "unknown", 1), row("あ", "", "unknown", 1)));
}

TEST_F(Report, KeepsFramesInCaseOrder) {
  list_cases("b.png,,2\na.png,,1\nc.png,,2\n", kPictures);
  run();
  const auto rows = lines_of(read(kOutput + "/frame_summary.csv"));
  ASSERT_EQ(rows.size(), 4U);
  EXPECT_THAT(rows[1], StartsWith("2,b.png,,"));
  EXPECT_THAT(rows[2], StartsWith("1,a.png,,"));
  EXPECT_THAT(rows[3], StartsWith("2,c.png,,"));
}

TEST_F(Report, JudgesFramesAndGroups) {
  list_cases("a.png," + kRight + ",1\nb.png," + kWrong + ",1\nc.png," + kWrong +
                 ",2\na.png,,3\nb.png," + kRight + ",3\nc.png," + kRight + ",4\n",
             kPictures);
  const Outcome outcome = run();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "========== FINAL_RESULT ==========\ninput_mode=roi use_plate_det=false\n" +
                totals("frame", 3, 3) + totals("group", 2, 2) + "summary=" + kOutput +
                "/summary.csv\n");
  EXPECT_THAT(groups(), ElementsAre(row("1", kRight, "correct", 2), row("2", kWrong, "check", 1),
                                    row("3", "", "unknown", 2), row("4", kRight, "correct", 1)));
  EXPECT_THAT(read(kOutput + "/FINAL_RESULT.json"), HasSubstr("  \"frame_total\": 6,\n"
                                                              "  \"frame_correct\": 3,\n"
                                                              "  \"frame_check_or_failed\": 3,\n"
                                                              "  \"group_total\": 4,\n"
                                                              "  \"group_correct\": 2,\n"
                                                              "  \"group_check_or_failed\": 2,\n"));
}

TEST_F(Report, TakesTheExpectedTextFromTheFirstFrameOfAGroup) {
  list_cases("a.png," + kWrong + ",g\nb.png," + kRight + ",g\nc.png,,g\n", kPictures);
  run();
  EXPECT_THAT(groups(), ElementsAre(row("g", kWrong, "check", 3)));
}

TEST_F(Report, VotesEveryFieldByItself) {
  // No frame is right, but together they are: the region is read once, the class once, and the
  // kana and the serial twice.
  write(kReaderModel, reader_script(reads_plate({"", "500", "あ12-35", ""}) +
                                    reads_plate({"", "品川", "か12-34", ""}, 21) +
                                    reads_plate({"", "", "か12-34", ""}, 41)));
  list_cases("a.png,品川500か12-34,g\nb.png,,g\nc.png,,g\n", kPictures);
  const Outcome outcome = run({"--fail-on-error"});
  EXPECT_EQ(outcome.status, 0) << "only groups count";
  EXPECT_THAT(outcome.out, HasSubstr(totals("frame", 0, 3) + totals("group", 1, 0)));
  EXPECT_THAT(groups(),
              ElementsAre("g,品川500か12-34,品川 500 か 12-34,correct,品川,500,か,12-34,3"));
}

TEST_F(Report, GivesEqualVotesToTheSmallestText) {
  write(kReaderModel, reader_script(reads_plate({"", "横浜500", "か12-35", ""}) +
                                    reads_plate({"", "品川330", "あ12-34", ""}, 21)));
  list_cases("a.png,,g\nb.png,,g\n", kPictures);
  run();
  EXPECT_THAT(groups(), ElementsAre("g,,品川 330 あ 12-34,unknown,品川,330,あ,12-34,2"));
}

TEST_F(Report, HasEmptyFieldsForAGroupThatReadNothing) {
  write(kOcrDictionary, "1\n2\n");
  write(kReaderModel, reader_script(""));
  list_cases("a.png," + kRight + ",g\nb.png,,g\n", kPictures);
  run();
  EXPECT_THAT(groups(), ElementsAre("g," + kRight + ",,check,,,,,2"));
  EXPECT_EQ(read(kOutput + "/frame_summary.csv"),
            kFrameSummaryHeader + "g,a.png," + kRight + ",,check,,,,,\ng,b.png,,,unknown,,,,,\n");
  EXPECT_EQ(read(kCases + "/b/result.txt"),
            "group_id: g\nimage_path: b.png\nexpected: \nocr_texts: \nregion: \nclass_no: \n"
            "kana: \nserial: \nfinal_plate_number: \nstatus: unknown\n");
  EXPECT_THAT(read(kCases + "/b/result.json"),
              HasSubstr("  \"ocr_texts\": \"\",\n  \"status\": \"unknown\"\n}\n"));
}

TEST_F(Report, EndsWithTwoForAGroupThatIsNotCorrectOnlyWhenAsked) {
  const std::vector<std::pair<std::string, int>> statuses = {
      {"a.png," + kRight + ",g\n", 0},
      {"a.png," + kRight + ",g\nb.png," + kWrong + ",g\n", 0},
      {"a.png," + kWrong + ",g\n", 2},
      {"a.png,,g\n", 2},
      {"a.png,,g\nb.png," + kRight + ",g\n", 2},
      {"a.png," + kRight + ",g\nb.png,,h\n", 2}};
  for (const auto& [list, status] : statuses) {
    list_cases(list, kPictures);
    EXPECT_EQ(run({"--fail-on-error"}).status, status) << list;
    EXPECT_TRUE(exists(kOutput + "/FINAL_RESULT.json"));
    EXPECT_EQ(run().status, 0) << list;
  }
}

TEST_F(Report, SaysTheSameWhetherItFailsOrNot) {
  list_cases("a.png," + kWrong + "\n", kPictures);
  const Outcome lenient = run();
  const Outcome strict = run({"--fail-on-error"});
  EXPECT_EQ(strict.out, lenient.out);
  EXPECT_EQ(strict.err, lenient.err);
}

TEST_F(Report, LetsImagesOfOneBaseNameShareADirectoryAndAGroup) {
  write_image("x/car.png", gradient_image(40, 20));
  write_image("y/car.jpg", gradient_image(60, 30));
  list_cases("x/car.png," + kRight + "\ny/car.jpg\n");
  run();
  EXPECT_THAT(groups(), ElementsAre(row("car", kRight, "correct", 2)));
  EXPECT_THAT(read(kCases + "/car/result.txt"), HasSubstr("image_path: y/car.jpg\n"));
  EXPECT_TRUE(shows(kCases + "/car/plate_roi.jpg", gradient_image(60, 30)));
}

TEST_F(Report, CopesWithAnyCharacterInANameOrText) {
  const std::string base = "-it's $HOME; $(touch hit)`touch hit`. 1, 日本\xFF";
  write_image("a b/" + base + ".png", gradient_image(40, 20));
  list_cases("\"a b/" + base + ".png\",\"x,y\"\n");
  const Outcome outcome = run();
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_THAT(groups(), ElementsAre(row("\"" + base + "\"", "\"x,y\"", "check", 1)));
  EXPECT_THAT(read(kOutput + "/frame_summary.csv"),
              HasSubstr("\n\"" + base + "\",\"a b/" + base + ".png\",\"x,y\"," + kShinagawaNumber +
                        ",check,"));
  EXPECT_TRUE(exists(kCases + "/" + base + "/result.txt"));
  EXPECT_FALSE(exists("hit")) << "a shell has read a name";
}

TEST_F(Report, EscapesTheOutputDirectoryInJsonOnly) {
  const Outcome outcome = run({"--output-dir", "o\"u\\t"});
  EXPECT_EQ(last_line(outcome.out), "summary=o\"u\\t/summary.csv");
  EXPECT_THAT(read("o\"u\\t/FINAL_RESULT.json"),
              HasSubstr("  \"frame_summary_csv\": \"o\\\"u\\\\t/frame_summary.csv\",\n"
                        "  \"summary_csv\": \"o\\\"u\\\\t/summary.csv\"\n}\n"));
}

}  // namespace
}  // namespace kavrel_test
