// Every figure on the page, against the small run that output_dir.h describes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "report/base/unicode.h"
#include "report/html/html_compare.h"
#include "report/html/html_report.h"
#include "tests/report/output_dir.h"

namespace kavrel::report {
namespace {

using kavrel_test::frame_of;
using kavrel_test::kWords;
using kavrel_test::OutputDir;
using kavrel_test::small_run;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::size_t kManyFrames = 1000;

std::string page_of(const OutputDir& dir, std::size_t max_frames = kManyFrames) {
  const RecordedRun run = read_run(dir.path());
  const Assessment assessment = assess(run, kWords);
  return kavrel_test::without_texts(
      render_report({run, assessment, kWords}, "the words of a test", max_frames));
}

std::string page_of(const std::vector<FrameResult>& frames) {
  const OutputDir dir;
  dir.write_finished(frames);
  return page_of(dir);
}

const std::string& small_page() {
  static const std::string page = page_of(small_run());
  return page;
}

// What a reader sees of the page between two pieces of its source: no tags, single blanks.
std::string text_between(const std::string& page, const std::string& from, const std::string& to) {
  const std::size_t begin = page.find(from);
  if (begin == std::string::npos) return "there is no " + from;
  const std::size_t start = page.find('>', begin) + 1;
  std::string text = page.substr(start, page.find(to, start) - start);
  text = std::regex_replace(text, std::regex("<[^>]*>"), " ");
  text = std::regex_replace(text, std::regex("\\s+"), " ");
  return std::regex_replace(text, std::regex("^ | $"), "");
}

std::string card(const std::string& page, const std::string& number) {
  return text_between(page, "id=\"group-" + number + "\"", "</summary>");
}

// The frames of b1 and b2 fail otherwise than a2, c1 and e1.
TEST(Page, CountsTheCausesFirst) {
  const std::string& page = small_page();
  EXPECT_LT(page.find("id=\"causes\""), page.find("id=\"figures\""));
  EXPECT_LT(page.find("id=\"cause-not-read\""), page.find("id=\"cause-outvoted\""));
  EXPECT_THAT(text_between(page, "id=\"cause-not-read\"", "<summary>"),
              AllOf(StartsWith("3 frames text never read text recogniser 2 groups"),
                    HasSubstr("train the recogniser")));
  EXPECT_THAT(text_between(page, "id=\"cause-kana-search\"", "</article>"),
              AllOf(StartsWith("1 frame invented by the kana search"), HasSubstr("b2 , group b")));
}

TEST(Page, ShowsTheStageThatFailedBesideThePlate) {
  const OutputDir dir;
  dir.write_finished(small_run());
  dir.write_pictures("b2");
  EXPECT_THAT(page_of(dir), Not(HasSubstr("What the stage saw of b2")));
  std::filesystem::copy_file(
      dir.path("cases/b2/plate_roi.jpg"),
      dir.path("cases/b2/kana_fallback_rect_kana_left_lower_wide_original.jpg"));
  EXPECT_THAT(page_of(dir), HasSubstr("What the stage saw of b2"));
}

TEST(Page, SaysWhenThereIsNoCause) {
  EXPECT_THAT(page_of({small_run().front()}),
              HasSubstr("Every frame with an expected text was read as expected."));
}

TEST(Page, HasFiguresOfBoxesAndCornersWhereTheTruthIsKnown) {
  const OutputDir dir;
  dir.write_finished(small_run());
  const RecordedRun run = read_run(dir.path());
  Assessment assessment = assess(run, kWords);
  assessment.places = PlaceFigures{4, 3, {0.5, 0.6, 0.7, 0.6}, {0.01, 0.02, 0.03}};
  const std::string page =
      kavrel_test::without_texts(render_report({run, assessment, kWords}, "", kManyFrames));
  EXPECT_THAT(text_between(page, "class=\"places\"", "</p>"),
              "Of 4 frames whose plate's place is known, the crop holds it in 3 : detector recall "
              "75.0 % (30.1 to 95.4). Overlap of crop and plate 60.0 % (52.0 to 68.0), corners "
              "2.0 % of the plate's width off (0.9 to 3.1).");
  EXPECT_THAT(small_page(), Not(HasSubstr("class=\"places\"")));
}

TEST(Page, ShowsTheTotalsOfGroups) {
  EXPECT_EQ(text_between(small_page(), "id=\"tile-groups\"", "</div>"),
            "Groups correct 1 of 4 25.0 % 95 % interval 4.6 % to 69.9 % 2 misread, 1 not read, 1 "
            "without expected text left out Character error rate 33.3 % (15 edits in 45 "
            "characters), mean of the plates 31.8 %");
}

TEST(Page, ShowsTheTotalsOfFrames) {
  EXPECT_EQ(text_between(small_page(), "id=\"tile-frames\"", "</div>"),
            "Frames correct 2 of 7 28.6 % 95 % interval 8.2 % to 64.1 % 4 misread, 1 not read, 1 "
            "without expected text left out Character error rate 21.8 % (17 edits in 78 "
            "characters), mean of the plates 20.8 %");
}

TEST(Page, SaysInShortWhatIsWrong) {
  EXPECT_EQ(text_between(small_page(), "class=\"tile short\"", "</div>"),
            "In short Most frequent cause: text never read, in 3 of 5 frames that are not correct. "
            "Kana is the weakest field: misread in 1, not read in 1 of 4 groups. Most frequent "
            "confusion: あ read as い in Kana, in readings of 1 frame.");
}

// Columns: right, misread, not read and accuracy of groups and of frames; then never read, taken
// from the other row, outvoted, tie, invented, not told, and how many of these were guessed.
TEST(Page, ShowsTheFiguresOfEachField) {
  const std::string fields = text_between(small_page(), "id=\"fields\"", "</table>");
  EXPECT_THAT(fields, HasSubstr("Region 3 0 1 75.0 % (30.1 to 95.4) 6 0 1 85.7 % (48.7 to 97.4) 1 "
                                "0 0 0 0 0 0 Class 3 0 1"));
  EXPECT_THAT(fields, HasSubstr("Kana 2 1 1 50.0 % (15.0 to 85.0) 3 3 1 42.9 % (15.8 to 75.0) 2 0 "
                                "1 0 1 0 1 Serial 2 1 1"));
  EXPECT_THAT(fields, HasSubstr("Serial 2 1 1 50.0 % (15.0 to 85.0) 5 1 1 71.4 % (35.9 to 91.8) 2 "
                                "0 0 0 0 0 0"));
}

TEST(Page, ListsConfusionsMostFrequentFirst) {
  EXPECT_EQ(
      text_between(small_page(), "id=\"confusion-list\"", "</table>"),
      "Characters that readings confused, those of most frames first Field Expected Read Frames Of "
      "Kana あ い 1 3 "
      "Kana さ き 1 1 Serial 8 nothing 1 3");
}

TEST(Page, ShowsConfusedKanaAsAHeatMap) {
  const std::string& page = small_page();
  EXPECT_EQ(text_between(page, "id=\"heat-kana\"", "</table>"),
            "Kana that were confused: expected down, read across あ い き さ あ 2 1 さ 1 1");
  EXPECT_THAT(page, HasSubstr("<td class=\"same\">2</td><td class=\"h4\">1</td>"));
  EXPECT_THAT(page, HasSubstr("<td class=\"h4\">1</td><td class=\"same\">1</td>"));
}

// What the readings of a1 to a3, b1, b2 and e1 had for class number and serial; of 77-88 one 8 is
// missing.
TEST(Page, ShowsDigitsAsAHeatMap) {
  EXPECT_EQ(text_between(small_page(), "id=\"heat-digits\"", "</table>"),
            "Digits of class number and serial: expected down, read across; – is none "
            "0 1 2 3 4 5 6 7 8 9 – 0 6 1 4 2 3 3 7 4 3 5 4 6 2 7 3 8 3 1 9");
}

TEST(Page, HasACardForEachGroupThatIsNotCorrect) {
  const std::string& page = small_page();
  EXPECT_THAT(page, Not(HasSubstr("id=\"group-1\"")));  // a is correct
  EXPECT_EQ(card(page, "2"),
            "no picture expected 横浜 500 さ 56-78 read 横浜 500 き 56-78 b misread 0 of 2 frames "
            "correct outvoted Kana misread outvoted 2 of 2 frames read き, 0 read さ. き had 3 "
            "votes, さ had 2. The kana search found the kana of 1 frame.");
  EXPECT_THAT(
      card(page, "3"),
      HasSubstr("c not read 0 of 1 frame correct text never read Region not read text never "
                "read なにわ had 0."));
  EXPECT_THAT(card(page, "4"), HasSubstr("d unlabelled 1 frame No expected text to compare with."));
  EXPECT_THAT(
      card(page, "5"),
      HasSubstr("e misread 0 of 1 frame correct text never read Serial misread text never read "
                "778 had 8 votes, 77-88 had 0."));
}

TEST(Page, TellsTheCauseOfEachFieldAsOfItsFrames) {
  const std::string expected = "品川 330 わ 12-34";
  const std::string tie = page_of({frame_of("a", "a.jpg", expected,
                                            {{"gray_upper_row", "品川330"},
                                             {"gray_lower_row", "わ12-34"},
                                             {"up2x_lower_row", "あ12-34"}})});
  EXPECT_THAT(card(tie, "1"), HasSubstr("correct tie Kana misread tie あ had 3 votes, わ had 3."));
  const std::string other_row = page_of({frame_of(
      "a", "a.jpg", expected, {{"gray_upper_row", "品川330"}, {"gray_lower_row", "わ"}})});
  EXPECT_THAT(card(other_row, "1"), HasSubstr("Serial misread taken from the other row 330 had "));
}

TEST(Page, MarksWhatDiffers) {
  const std::string& page = small_page();
  EXPECT_THAT(page, HasSubstr("<span class=\"kana\"><span class=\"hit\">さ</span></span>"));
  EXPECT_THAT(page, HasSubstr("<span class=\"kana\"><span class=\"miss\">き</span></span>"));
  EXPECT_THAT(page,
              HasSubstr("<span>77</span><span class=\"gap\">\u2007\u2007</span><span>8</span>"));
}

TEST(Page, ShowsTheVotesOfEachReading) {
  const std::string frames = text_between(small_page(), "id=\"group-2\"", "</article>");
  EXPECT_THAT(frames, HasSubstr("Region 横浜 6 Class 500 16 Kana き 3 さ 2 Serial 56-78 24 500 2"));
  EXPECT_THAT(frames, HasSubstr("3 readings and the votes they gave"));
  EXPECT_THAT(frames, HasSubstr("gray_full 横浜500さ56-78 横浜 +2 500 +8 さ +2 56-78 +15 500 +1"));
  EXPECT_THAT(frames, HasSubstr("gray_lower_row き56-78 き +3 56-78 +9"));
  EXPECT_THAT(small_page(), HasSubstr("The kana き came from the fallback search"));
}

TEST(Page, ListsAllGroups) {
  EXPECT_EQ(text_between(small_page(), "<tbody>\n<tr><th scope=\"row\"><bdi>a", "</table>"),
            "a correct 品川 330 あ 12-34 品川 330 あ 12-34 0 2/3 "
            "b misread 横浜 500 さ 56-78 横浜 500 き 56-78 1 0/2 "
            "c not read なにわ 480 う 90-12 \u2007\u2007\u2007 \u2007\u2007\u2007 \u2007 "
            "\u2007\u2007\u2007\u2007\u2007 12 0/1 "
            "d unlabelled 品川 330 あ 12-34 – 0/1 "
            "e misread 福岡 301 わ 77-88 福岡 301 わ 77 \u2007\u2007 8 2 0/1");
}

TEST(Page, SaysHowItIsCounted) {
  const std::string method = text_between(small_page(), "id=\"method\"", "</section>");
  EXPECT_THAT(method,
              HasSubstr("kavrel itself counts them as not correct (1 group and 1 frame here)"));
  EXPECT_THAT(method, HasSubstr("do not count here (0 groups and 0 frames here)"));
  EXPECT_THAT(method, HasSubstr("Plates without an expected text do not count."));
  EXPECT_THAT(method, HasSubstr("the kana of 1 labelled frame, right in 0."));
  EXPECT_THAT(method, HasSubstr("with the words of a test"));
}

TEST(Page, EmbedsPictures) {
  const OutputDir dir;
  dir.write_finished(small_run());
  for (const char* name : {"b1", "b2", "c1", "d1", "e1"}) dir.write_pictures(name);
  const std::string page = page_of(dir);
  EXPECT_THAT(page, HasSubstr("<img src=\"data:image/jpeg;base64,"));
  EXPECT_THAT(page, HasSubstr("alt=\"Crop of b2\""));
  EXPECT_THAT(page, Not(HasSubstr("no picture</span>")));
  EXPECT_THAT(page, Not(HasSubstr("Pictures are missing")));
}

TEST(Page, SaysThatPicturesAreMissing) {
  EXPECT_THAT(small_page(), HasSubstr("Pictures are missing or cannot be read."));
  EXPECT_THAT(page_of({frame_of("a", "x/1.jpg", "", {}), frame_of("a", "y/1.jpg", "", {})}),
              HasSubstr("A later image of the same file name took the pictures"));
}

TEST(Page, SaysWhereItEnds) {
  const OutputDir dir;
  dir.write_finished(small_run());
  const std::string page = page_of(dir, 1);
  EXPECT_EQ(text_between(page, "class=\"cap\">Cards", "</p>"),
            "Cards are shown until they hold 1 frame, which leaves out 3 groups: the table of all "
            "groups has them, and --max-frames raises the limit.");
  EXPECT_THAT(page, HasSubstr("2 more frames: kavrel-report misread lists them"));
  EXPECT_THAT(page, HasSubstr("1 more frame of this group not shown"));
  EXPECT_THAT(page, Not(HasSubstr("id=\"group-3\"")));
}

TEST(Page, IsThereForARunWithoutCases) {
  const std::string page = page_of(std::vector<FrameResult>());
  EXPECT_EQ(text_between(page, "id=\"tile-groups\"", "</div>"),
            "Groups correct 0 of 0 0 misread, 0 not read Character error rate – (0 edits in 0 "
            "characters), mean of the plates –");
  EXPECT_THAT(page, HasSubstr("No plate has an expected text: nothing can be judged."));
  EXPECT_THAT(page, Not(HasSubstr("<p class=\"none\">Every")));
}

TEST(Page, IsThereForARunWithoutMistakes) {
  const std::string page = page_of({small_run().front()});
  EXPECT_THAT(page, HasSubstr("Every group with an expected text was read as expected."));
  EXPECT_THAT(page, HasSubstr("No reading took a character of its row for another."));
}

TEST(Page, DoubtsALabelThatDiffersInEveryField) {
  FrameResult frame = small_run().front();
  frame.expected = "横浜 500 さ 56-78";
  EXPECT_THAT(page_of({frame}), HasSubstr("is the expected text that of this vehicle?"));
}

TEST(Page, SaysThatOtherRegionWordsWereUsed) {
  FrameResult frame = small_run().front();
  frame.fields.region = "大宮";
  EXPECT_THAT(page_of({frame}), HasSubstr("1 frame whose votes, counted again, do not give"));
}

int count(const std::string& text, const std::string& part) {
  int found = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++found;
  }
  return found;
}

// Cells that would be markup, attributes, templates, terminal commands or broken UTF-8.
const std::vector<std::string> kHostile = {"<script>alert(1)</script>",
                                           "\"><img src=x onerror=alert(1)>",
                                           "' onmouseover='alert(1)",
                                           "{{{cards}}}{{#frames}}",
                                           "</style></details></table>",
                                           "&lt;b&gt;",
                                           "\x1B[2J\x07",
                                           "\xFF\xC3\x28",
                                           "a\u202Eb"};

TEST(Page, ShowsHostileTextHarmlessly) {
  for (const std::string& text : kHostile) {
    FrameResult frame{text, text, text, {text, text, text, text, text}, {{"gray_full", text}}};
    const std::string page = page_of({frame});
    EXPECT_EQ(count(page, "<script"), 1) << text;
    EXPECT_EQ(count(page, "<style"), 1) << text;
    EXPECT_THAT(page, Not(HasSubstr("<img src=x"))) << text;
    EXPECT_THAT(page, Not(HasSubstr("' onmouseover="))) << text;
    EXPECT_THAT(page, Not(HasSubstr("\x1B"))) << text;
    EXPECT_EQ(printable(page).size(), printable(printable(page)).size());
    EXPECT_EQ(code_points(page).find(U'\u202E'), std::u32string::npos);
  }
  FrameResult frame{"x", "{{{cards}}}", "{{{cards}}}", {}, {}};
  EXPECT_THAT(page_of({frame}), HasSubstr("<bdi>{{{cards}}}</bdi>"));
}

TEST(Page, KeepsItsBarsSmallWhereItsStyleIsBlocked) {
  EXPECT_THAT(small_page(), HasSubstr("<svg class=\"interval\" width="));
  EXPECT_THAT(small_page(), Not(HasSubstr("<svg class=\"interval\" viewBox")));
}

TEST(Page, LoadsNothing) {
  const std::string& page = small_page();
  EXPECT_THAT(page, HasSubstr("Content-Security-Policy\" content=\"default-src 'none'"));
  for (const char* part : {"http:", "https:", "src=\"//", "url(", "@import", "javascript:"}) {
    EXPECT_THAT(page, Not(HasSubstr(part)));
  }
}

TEST(Page, LeavesNoTagOfItsTemplate) {
  EXPECT_THAT(small_page(), Not(HasSubstr("{{")));
  EXPECT_THAT(small_page(), StartsWith("<!DOCTYPE html>"));
}

class ComparedPage : public testing::Test {
 protected:
  std::string render(const std::vector<FrameResult>& base_frames,
                     const std::vector<FrameResult>& fresh_frames, std::size_t max_frames = 100) {
    base_dir_.write_finished(base_frames);
    fresh_dir_.write_finished(fresh_frames);
    const RecordedRun base = read_run(base_dir_.path());
    const RecordedRun fresh = read_run(fresh_dir_.path());
    const Assessment base_assessment = assess(base, kWords);
    const Assessment fresh_assessment = assess(fresh, kWords);
    const Comparison comparison = compare_runs(base, base_assessment, fresh, fresh_assessment);
    return kavrel_test::without_texts(render_comparison(
        {base, base_assessment, fresh, fresh_assessment, comparison}, "The verdict.", max_frames));
  }

  // The small run with b read right, and e gone.
  static std::vector<FrameResult> better_run() {
    std::vector<FrameResult> frames = small_run();
    for (const std::size_t i : {3U, 4U}) {
      frames[i] = frame_of("b", frames[i].image_path, frames[i].expected,
                           {{"gray_upper_row", "横浜500"}, {"gray_lower_row", "さ56-78"}});
    }
    frames.pop_back();
    return frames;
  }

 private:
  OutputDir base_dir_;
  OutputDir fresh_dir_;
};

TEST_F(ComparedPage, ShowsTheTotals) {
  const std::string totals =
      text_between(render(small_run(), better_run()), "id=\"totals\"", "</table>");
  EXPECT_THAT(totals, HasSubstr("Groups 1 of 4 2 of 3 +41.7 points 0 1 0 1 0 p = 1.0000"));
  EXPECT_THAT(totals, HasSubstr("Frames 2 of 7 4 of 6 +38.1 points 0 2 0 1 0 p = 0.5000"));
}

TEST_F(ComparedPage, ShowsBothReadings) {
  const std::string page = render(small_run(), better_run());
  EXPECT_EQ(card(page, "1"),  // what is lost comes first
            "no picture base 福岡 301 わ 77 \u2007\u2007 8 no picture not in the new run e removed "
            "expected 福岡 301 わ 77-88 1 frame changed");
  EXPECT_EQ(
      card(page, "2"),
      "no picture base 横浜 500 き 56-78 no picture new 横浜 500 さ 56-78 b fixed expected 横浜 "
      "500 さ 56-78 2 frames changed");
  EXPECT_THAT(page, HasSubstr("The verdict."));
}

TEST_F(ComparedPage, SaysThatNothingChanged) {
  EXPECT_THAT(render(small_run(), small_run()), HasSubstr("Both runs read every plate alike."));
}

TEST_F(ComparedPage, SaysWhereItEnds) {
  const std::string page = render(small_run(), better_run(), 1);
  EXPECT_THAT(page,
              HasSubstr("Cards are shown until they hold 1 frame, which leaves out 1 group;"));
}

TEST_F(ComparedPage, ShowsHostileTextHarmlessly) {
  for (const std::string& text : kHostile) {
    FrameResult frame{text, text, text, {text, text, text, text, text}, {{"gray_full", text}}};
    const std::string page = render({}, {frame});
    EXPECT_EQ(count(page, "<script"), 1) << text;
    EXPECT_THAT(page, Not(HasSubstr("<img src=x"))) << text;
    EXPECT_THAT(page, Not(HasSubstr("\x1B"))) << text;
  }
}

}  // namespace
}  // namespace kavrel::report
