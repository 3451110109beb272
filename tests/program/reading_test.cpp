#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

// The single case a.png, and what its result file says.
class Reading : public ProgramTest {
 protected:
  Reading() { list_cases("a.png\n", {"a.png"}); }

  std::string result(const std::string& key) const {
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return lines_with(read(kCases + "/a/result.txt"), key + ": ").at(0).substr(key.size() + 2);
  }
};

class TextLines : public Reading {
 protected:
  // That the original variant (320 x 96; a map pixel is 5 wide and 1.5 high) has exactly these
  // lines, in this order, when the map is `background` with these rectangles ("X Y W H VALUE").
  void expect_lines(const std::string& background, const std::vector<std::string>& rects,
                    const std::vector<cv::Rect>& boxes) {
    std::string map = "answer * 0 fill 4096 " + background + "\n";
    for (const std::string& rect : rects) map += "answer * 0 rect " + rect + "\n";
    SCOPED_TRACE(map);
    write(kLinesModel, line_detector_script(map));
    remove(kOutput);
    EXPECT_EQ(run().status, 0);
    const cv::Mat plate = picture(kCases + "/a/ocr_variant_original.jpg");
    for (std::size_t k = 0; k < boxes.size(); ++k) {
      ASSERT_TRUE(exists(crop_name(k))) << k;
      EXPECT_TRUE(same_pixels(picture(crop_name(k)), plate(boxes[k]), 8)) << k;
    }
    EXPECT_FALSE(exists(crop_name(boxes.size())));
    expect_frames(picture(kCases + "/a/ocr_variant_original_det_boxes.jpg"), plate, boxes);
  }

 private:
  static std::string crop_name(std::size_t k) {
    return kCases + "/a/ocr_original_crop_" + std::to_string(k) + ".jpg";
  }
};

TEST_F(TextLines, ArePaddedAndKeptInsideThePlate) {
  expect_lines("0", {"20 20 10 10 1"}, {{95, 26, 60, 23}});
  expect_lines("0", {"0 0 10 10 1"}, {{0, 0, 60, 23}});
  expect_lines("0", {"54 54 10 10 1"}, {{265, 77, 55, 19}});
}

TEST_F(TextLines, NeedAnAreaOfTwenty) {
  expect_lines("0", {"20 20 6 5 1"}, {{95, 26, 40, 16}});
  expect_lines("0", {"20 20 5 5 1", "40 20 20 2 1"}, {});
}

TEST_F(TextLines, AreWhereTheProbabilityExceedsThirtyPercent) {
  expect_lines("0", {"20 20 10 10 0.3"}, {});
  expect_lines("0", {"20 20 10 10 0.301"}, {{95, 26, 60, 23}});
}

TEST_F(TextLines, AreReadFromLogitsWhenAValueIsNoProbability) {
  const cv::Rect all(0, 0, 320, 96);
  expect_lines("0", {"20 20 10 10 1.005"}, {{95, 26, 60, 23}});
  expect_lines("0", {"20 20 10 10 1.02"}, {all});
  expect_lines("0", {"20 20 10 10 1", "0 0 1 1 -0.005"}, {{95, 26, 60, 23}});
  expect_lines("0", {"20 20 10 10 1", "0 0 1 1 -0.02"}, {all});
  expect_lines("-9", {"20 20 10 10 -0.5"}, {{95, 26, 60, 23}});
}

TEST_F(TextLines, JoinAcrossSmallGaps) {
  expect_lines("0", {"20 20 10 10 1", "34 20 10 10 1"}, {{95, 26, 130, 23}});
  expect_lines("0", {"20 20 10 10 1", "35 20 10 10 1"}, {{95, 26, 60, 23}, {170, 26, 60, 23}});
  expect_lines("0", {"20 20 10 10 1", "20 32 10 10 1"}, {{95, 26, 60, 41}});
  expect_lines("0", {"20 20 10 10 1", "20 33 10 10 1"}, {{95, 26, 60, 23}, {95, 45, 60, 23}});
}

TEST_F(TextLines, ComeRowByRowAndFromTheLeft) {
  // Centres 12 pixels apart are one row, 13 apart are two.
  expect_lines("0", {"40 20 10 10 1", "10 28 10 10 1"}, {{45, 38, 60, 23}, {195, 26, 60, 23}});
  expect_lines("0", {"40 20 10 10 1", "10 29 10 10 1"}, {{195, 26, 60, 23}, {45, 39, 60, 23}});
}

TEST_F(TextLines, AreTheSixteenLargest) {
  // Five columns by four rows, of which the first four are smaller.
  std::vector<std::string> rects;
  std::vector<cv::Rect> boxes;
  for (int i = 0; i < 20; ++i) {
    const int x = i % 5 * 12 + 3;
    const int y = i / 5 * 15 + 2;
    const int height = i < 4 ? 6 : 12;
    rects.push_back(std::to_string(x) + " " + std::to_string(y) + " 6 " + std::to_string(height) +
                    " 1");
    if (i >= 4) boxes.push_back({x * 5 - 5, std::max(0, y * 3 / 2 - 4), 40, 26});
  }
  expect_lines("0", rects, boxes);
  EXPECT_EQ(count_calls("rknn_run", "reader"), 5 * (16 + 4));
}

class Decoding : public Reading {
 protected:
  // What the recogniser's first run reads. The third reads a kana, so that none is searched.
  std::string first_text(const std::string& dims, const std::string& classes,
                         const std::string& more = "") {
    write(kReaderModel, "name reader\ninput image 1,48,320,3\noutput steps " + dims +
                            "\nanswer 1 0 steps 25 " + classes + "\n" + more + reads("3", "わ"));
    const std::string texts = result("ocr_texts");
    const std::string source = "original_full:";
    if (texts.rfind(source, 0) != 0) return "";
    return texts.substr(source.size(), texts.find(" / ") - source.size());
  }
};

TEST_F(Decoding, DropsRepetitionsAndBlanks) {
  EXPECT_EQ(first_text("1,16,25", "2 2 2 3"), "12");
  EXPECT_EQ(first_text("1,16,25", "2 2 0 2"), "11");
  EXPECT_EQ(first_text("1,16,25", "0 0 2 0 0 3 0"), "12");
  EXPECT_EQ(first_text("1,16,25", "0"), "");
}

TEST_F(Decoding, TakesTheLowestOfEqualClasses) {
  EXPECT_EQ(first_text("1,16,25", "2", "answer 1 0 set 5 1\n"), "1");
  EXPECT_EQ(first_text("1,16,25", "2", "answer 1 0 set 0 1\n"), "");
  EXPECT_EQ(first_text("1,16,25", "2", "answer 1 0 set 5 1.001\n"), "4");
}

TEST_F(Decoding, FindsTheStepsInAnyShape) {
  EXPECT_EQ(first_text("16,25", "2 3"), "12");
  EXPECT_EQ(first_text("1,1,2,16,25", "2 3"), "12") << "what exceeds T x K is ignored";
  EXPECT_EQ(first_text("400", "2 3"), "12") << "the dictionary tells the number of classes";
  EXPECT_EQ(first_text("401", "2 3"), "");
  EXPECT_EQ(first_text("1,2,25", "2 3 4"), "12");
}

TEST_F(Decoding, SkipsClassesThatTheDictionaryLacks) {
  auto entries = ocr_dictionary();
  entries.resize(3);
  write(kOcrDictionary, as_lines(entries));
  EXPECT_EQ(first_text("1,16,25", "2 24 3 4"), "12");
}

TEST_F(Decoding, TrimsATextAndDropsAnEmptyOne) {
  auto entries = ocr_dictionary();
  entries.pop_back();
  write(kOcrDictionary, as_lines(entries));  // the 24th class becomes the half-width space
  EXPECT_EQ(first_text("1,16,25", "24 2 24 3 24"), "1 2");
  EXPECT_EQ(first_text("1,16,25", "24 24"), "");
  EXPECT_EQ(result("ocr_texts"), "original_lower_row:わ");
}

TEST_F(Reading, TakesEveryFieldFromTheWeightedVotes) {
  const std::vector<std::pair<PlateTexts, std::string>> numbers = {
      {{"品川500わ12-34", "", "", ""}, "品川 500 わ 12-34"},
      {{"わ50012", "", "", ""}, "わ 00-12"},
      {{"わ12", "", "", ""}, "わ"},
      {{"わ-1-2-34-", "", "", ""}, "わ 12-34"},
      {{"12345わ330", "", "", ""}, "330 わ 330"},
      {{"", "", "わ123", ""}, "123 わ 123"},
      {{"", "品川500", "わ", "12-34"}, "品川 500 わ 12-34"},
      {{"", "横浜", "は愛あ", ""}, "横浜  あ"}};
  for (const auto& [texts, number] : numbers) {
    write(kReaderModel, reader_script(reads_every_plate(texts)));
    EXPECT_EQ(result("final_plate_number"), number);
  }
}

TEST_F(Reading, TellsClassFromSerialByTheirOrderOnlyWhereThereAreTwo) {
  // Five upper rows with one number each, and one serial area.
  write(kReaderModel, reader_script(reads("2-18/4", "500わ") + reads("4", "12-34")));
  EXPECT_EQ(result("final_plate_number"), "500 わ 12-34");
}

TEST_F(Reading, TrustsARowMoreThanTheWholePlate) {
  // Two upper rows weigh 4 each and three whole plates 2 each.
  write(kReaderModel, reader_script(reads("1-9/4", "横浜わ") + reads("2-6/4", "品川")));
  EXPECT_EQ(result("region"), "品川");
}

TEST_F(Reading, PrefersALongRegionNameToAShortOneInsideIt) {
  write(kRegionWords, "川\n品川\n");
  EXPECT_EQ(result("region"), "品川");
}

TEST_F(Reading, TakesEqualVotesForTheSmallestText) {
  write(kReaderModel, reader_script(reads("3", "か12-35") + reads("7", "あ12-34")));
  EXPECT_EQ(result("final_plate_number"), "あ 12-34");
  EXPECT_EQ(result("ocr_texts"), "original_lower_row:か12-35 / gray_lower_row:あ12-34");
}

TEST_F(Reading, ExchangesClassAndSerialWhenTheUpperRowsSaySo) {
  write(kReaderModel, reader_script(reads("1-17/4", "123わ456") + reads("2-6/4", "456")));
  EXPECT_EQ(result("final_plate_number"), "456 わ 123");
}

}  // namespace
}  // namespace kavrel_test
