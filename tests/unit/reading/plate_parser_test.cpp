#include "reading/plate_parser.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace kavrel {
namespace {

using Readings = std::vector<OcrText>;
using Words = std::vector<std::string>;
using Field = std::string PlateFields::*;

// A source that names no part of the plate: weight 1.
const std::string kBox = "original_det_crop_0";
const std::string kFull = "original_full";
const std::string kUpper = "gray_upper_row";
const std::string kLower = "gray_lower_row";
const std::string kSerial = "up2x_serial_area";

PlateFields parse(const Readings& readings, const Words& words = {"品川", "横浜"}) {
  return parse_jp_plate(readings, words);
}

// A reading that gives one vote each to values which win every tie: region "AA" (if it is a word)
// and kana あ, or class number and serial 000 (but for serials that begin with 00).
const OcrText kRegionRival = {kBox, "AA"};
const OcrText kKanaRival = {kBox, "あ"};
const OcrText kDigitsRival = {kBox, "000"};

constexpr int kMostVotes = 100;  // more than any test casts

// The total of the votes for the value that wins a field: the number of votes that a rival needs
// to win instead, as it wins ties.
int winning_total(Readings readings, Field field, const OcrText& rival) {
  const Words words = {"AA", "品川", "横浜"};
  const std::string winner = parse(readings, words).*field;
  if (winner.empty()) return 0;
  int total = 0;
  while (parse(readings, words).*field == winner && total < kMostVotes) {
    readings.push_back(rival);
    ++total;
  }
  return total;
}

int region_total(const Readings& readings) {
  return winning_total(readings, &PlateFields::region, kRegionRival);
}
int kana_total(const Readings& readings) {
  return winning_total(readings, &PlateFields::kana, kKanaRival);
}
int class_total(const Readings& readings) {
  return winning_total(readings, &PlateFields::class_no, kDigitsRival);
}
int serial_total(const Readings& readings) {
  return winning_total(readings, &PlateFields::serial, kDigitsRival);
}

TEST(PlateParser, FindsNothingWithoutReadings) {
  for (const Readings& readings : {Readings{}, Readings{{kFull, ""}, {kUpper, " \t\r\n"}}}) {
    const PlateFields fields = parse(readings);
    EXPECT_EQ(fields.region, "");
    EXPECT_EQ(fields.class_no, "");
    EXPECT_EQ(fields.kana, "");
    EXPECT_EQ(fields.serial, "");
    EXPECT_EQ(fields.final_plate_number, "");
  }
}

TEST(PlateParser, PutsAPlateTogetherFromItsParts) {
  const Readings readings = {
      {kFull, "品川 500 わ 12-34"}, {kUpper, "品川500"}, {kLower, "わ12-34"}};
  const PlateFields fields = parse(readings);
  EXPECT_EQ(fields.region, "品川");
  EXPECT_EQ(fields.class_no, "500");
  EXPECT_EQ(fields.kana, "わ");
  EXPECT_EQ(fields.serial, "12-34");
  EXPECT_EQ(fields.final_plate_number, "品川 500 わ 12-34");
  EXPECT_EQ(region_total(readings), 6);
  EXPECT_EQ(class_total(readings), 16);
  EXPECT_EQ(kana_total(readings), 5);
  EXPECT_EQ(serial_total(readings), 24);
}

TEST(PlateParser, WeighsAReadingByThePartsThatItsSourceNames) {
  const std::vector<std::pair<std::string, int>> cases = {
      {"", 1},
      {kBox, 1},
      {"clahe_det_crop_15", 1},
      {kFull, 2},
      {kUpper, 4},
      {kLower, 3},
      {kSerial, 4},
      {"full_upper_row", 5},
      {"lower_row_serial_area", 6},
      {"serial_area_lower_row_upper_row_full", 10},
  };
  for (const auto& [source, weight] : cases) {
    EXPECT_EQ(region_total({{source, "品川"}}), weight) << source;
    EXPECT_EQ(kana_total({{source, "わ"}}), weight) << source;
  }
}

TEST(PlateParser, AddsUpTheVotesOfAllReadings) {
  EXPECT_EQ(region_total({{kFull, "品川"}, {kUpper, "品川"}, {kBox, "品川"}}), 7);
  EXPECT_EQ(kana_total({{kLower, "わ"}, {kLower, "わ"}}), 6);
}

TEST(PlateParser, LetsEveryFieldTakeItsGreatestTotal) {
  const Readings readings = {
      {kFull, "品川 500 わ 12-34"}, {kUpper, "横浜300"}, {kLower, "い56-78"}};
  const PlateFields fields = parse(readings);
  EXPECT_EQ(fields.region, "横浜");
  EXPECT_EQ(fields.class_no, "300");
  EXPECT_EQ(fields.kana, "い");
  EXPECT_EQ(fields.serial, "12-34");
}

TEST(PlateParser, DecidesTiesByByteOrder) {
  const PlateFields fields = parse({{kBox, "横浜501か67-89"}, {kBox, "品川500あ12-34"}});
  EXPECT_EQ(fields.region, "品川");
  EXPECT_EQ(fields.class_no, "500");
  EXPECT_EQ(fields.kana, "あ");
  EXPECT_EQ(fields.serial, "12-34");
}

TEST(PlateParser, FindsWordsAndDigitsAcrossBlanks) {
  const PlateFields fields = parse({{kUpper, "品 川 5 0\t0"}, {kLower, "わ 1 2 - 3 4"}});
  EXPECT_EQ(fields.final_plate_number, "品川 500 わ 12-34");
}

TEST(PlateParser, TriesTheLongerOfTwoRegionWordsFirst) {
  for (const Words& words : {Words{"川", "品川"}, Words{"品川", "川"}}) {
    EXPECT_EQ(parse({{kBox, "品川"}}, words).region, "品川");
    EXPECT_EQ(parse({{kBox, "石川"}}, words).region, "川");
  }
}

TEST(PlateParser, ComparesTheLengthOfRegionWordsInBytes) {
  EXPECT_EQ(parse({{kBox, "京ABCD"}}, {"京", "ABCD"}).region, "ABCD");
  EXPECT_EQ(parse({{kBox, "京AB"}}, {"AB", "京"}).region, "京");
}

TEST(PlateParser, LetsAReadingVoteForOneRegionOnly) {
  const Words words = {"川", "品川", "静岡県"};
  EXPECT_EQ(parse({{kUpper, "静岡県品川"}, {kBox, "品川"}}, words).region, "静岡県");
  EXPECT_EQ(parse({{kUpper, "品川"}, {kLower, "川"}, {kBox, "川"}}, words).region, "品川");
}

TEST(PlateParser, KnowsNoRegionButTheWords) {
  EXPECT_EQ(parse({{kUpper, "札幌500"}}).region, "");
  EXPECT_EQ(parse({{kUpper, "札幌500"}}, {}).region, "");
}

TEST(PlateParser, PassesOverAnEmptyRegionWord) {
  EXPECT_EQ(parse({{kUpper, "品川"}}, {"", "品川"}).region, "品川");
  EXPECT_EQ(parse({{kUpper, "札幌"}}, {""}).region, "");
}

TEST(PlateParser, LetsAReadingVoteForTheFirstKanaOfTheAlphabet) {
  EXPECT_EQ(parse({{kLower, "わい12-34"}}).kana, "い");
  EXPECT_EQ(parse({{kLower, "し12-34"}}).kana, "");
}

TEST(PlateParser, DoesNotReadLookAlikesAsKana) { EXPECT_EQ(parse({{kLower, "愛12-34"}}).kana, ""); }

struct DigitVotes {
  std::string source;
  std::string text;
  std::string class_no;
  int class_total;
  std::string serial;
  int serial_total;
};

void expect_votes(const std::vector<DigitVotes>& cases) {
  for (const DigitVotes& votes : cases) {
    SCOPED_TRACE(votes.source + " " + votes.text);
    const Readings readings = {{votes.source, votes.text}};
    EXPECT_EQ(parse(readings).class_no, votes.class_no);
    EXPECT_EQ(parse(readings).serial, votes.serial);
    EXPECT_EQ(class_total(readings), votes.class_total);
    EXPECT_EQ(serial_total(readings), votes.serial_total);
  }
}

TEST(PlateParser, TakesFourDigitsForASerialBySixMoreThanTheWeight) {
  expect_votes({{kBox, "1234", "", 0, "12-34", 7},
                {kFull, "1234", "", 0, "12-34", 8},
                {kUpper, "12-34", "", 0, "12-34", 10},
                {kLower, "1-2-3-4-", "", 0, "12-34", 9},
                {kSerial, "-12--34", "", 0, "12-34", 10}});
}

TEST(PlateParser, TakesTheLastFourOfMoreDigitsForASerialByFourMoreThanTheWeight) {
  expect_votes({{kFull, "51234", "", 0, "12-34", 6},
                {kBox, "98-76543", "", 0, "65-43", 5},
                {kUpper, "1234567890", "", 0, "78-90", 8}});
}

// 00-12 comes before the rival 000 in byte order, so that a tie does not unseat it.
TEST(PlateParser, NeverTakesALongRunForAClassNumber) {
  const Readings readings = {{kFull, "50012"}};
  EXPECT_EQ(parse(readings).class_no, "");
  EXPECT_EQ(parse(readings).final_plate_number, "00-12");
  EXPECT_EQ(serial_total(readings), 6 + 1);
}

TEST(PlateParser, MakesNothingOfOneOrTwoDigits) {
  expect_votes({{kUpper, "1", "", 0, "", 0},
                {kLower, "12", "", 0, "", 0},
                {kFull, "品川50わ12", "", 0, "", 0},
                {kSerial, "1・2・34", "", 0, "", 0}});
}

TEST(PlateParser, LetsTheRowTellWhatThreeDigitsAre) {
  expect_votes({{kUpper, "512", "512", 8, "512", 1},
                {kLower, "512", "512", 1, "512", 8},
                {kSerial, "512", "512", 1, "512", 8},
                {kBox, "512", "512", 1, "512", 1},
                {kFull, "512", "512", 1, "512", 1},
                {"upper_row_lower_row_serial_area_full", "51-2", "512", 8, "512", 1}});
}

TEST(PlateParser, TakesTheFirstOfSeveralRunsForAClassNumber) {
  expect_votes({{kBox, "512あ98", "512", 1 + 5 + 1, "512", 1},
                {kFull, "512あ9", "512", 2 + 5 + 1, "512", 1},
                {kUpper, "512あ98", "512", 4 + 5 + 8, "512", 1},
                {kLower, "512あ98", "512", 3 + 5 + 1, "512", 8},
                {kBox, "51-2あ98", "512", 1 + 5 + 1, "512", 1}});
}

TEST(PlateParser, TakesOnlyTheFirstRunAndOnlyThreeDigitsForAClassNumberByPosition) {
  expect_votes({{kBox, "5あ512い7", "512", 1, "512", 1},
                {kBox, "5123あ98", "", 0, "51-23", 1 + 6},
                {kBox, "51あ98", "", 0, "", 0}});
}

TEST(PlateParser, TakesTheLastOfSeveralRunsForASerial) {
  expect_votes({{kBox, "9あ1234", "", 0, "12-34", 1 + 5 + 1 + 6},
                {kFull, "9あ12-34", "", 0, "12-34", 2 + 5 + 2 + 6},
                {kSerial, "9あ12-34", "", 0, "12-34", 4 + 5 + 4 + 6},
                {kBox, "9あ512", "512", 1, "512", 1 + 5 + 1},
                {kLower, "9あ512", "512", 1, "512", 3 + 5 + 8}});
}

// 8 votes as a class number, 10 as a serial, where four digits of the upper row get 10 and of the
// lower row 9.
TEST(PlateParser, TakesTheLastRunOfTheUpperRowForASerialToo) {
  const OcrText reading = {kUpper, "9あ512"};
  EXPECT_EQ(parse({reading, {kUpper, "1111"}}).serial, "11-11");
  EXPECT_EQ(parse({reading, {kLower, "1111"}}).serial, "512");
  EXPECT_EQ(parse({reading, {kLower, "1111"}}).class_no, "512");
}

TEST(PlateParser, CutsALongLastRunByFourMoreThanTheWeightTwice) {
  expect_votes({{kBox, "9あ51234", "", 0, "12-34", 1 + 4 + 1 + 4},
                {kUpper, "9あ98761234", "", 0, "12-34", 4 + 4 + 4 + 4}});
}

TEST(PlateParser, TakesOnlyTheLastRunForASerialByPosition) {
  expect_votes({{kBox, "1234あ9", "", 0, "12-34", 1 + 6},
                {kBox, "9あ1234い8", "", 0, "12-34", 1 + 6},
                {kBox, "51234あ9", "", 0, "12-34", 1 + 4}});
}

TEST(PlateParser, GivesASingleRunNoVoteForItsPosition) {
  expect_votes({{kBox, "512", "512", 1, "512", 1}, {kBox, "品川-512-", "512", 1, "512", 1}});
}

TEST(PlateParser, CountsEveryRunOfAReading) {
  expect_votes({{kBox, "1234あ1234い1234", "", 0, "12-34", 3 * 7 + 6}});
  EXPECT_EQ(class_total({{kUpper, "512あ512"}}), 2 * 8 + 9);
}

TEST(PlateParser, PutsOneFieldWhereItStandsWithoutTheOthers) {
  EXPECT_EQ(parse({{kLower, "わ"}}).final_plate_number, "わ");
  EXPECT_EQ(parse({{kUpper, "品川"}, {kLower, "12-34"}}).final_plate_number, "品川   12-34");
}

// Readings of which class 123 and serial 456 win; none of them is evidence of the upper row.
const Readings kClass123Serial456 = {{kFull, "123あ456"}, {kFull, "123あ456"}, {kLower, "456"}};

PlateFields parse_with(Readings evidence, const Words& words = {"品川"}) {
  evidence.insert(evidence.end(), kClass123Serial456.begin(), kClass123Serial456.end());
  return parse(evidence, words);
}

void expect_fields(const PlateFields& fields, const std::string& class_no,
                   const std::string& serial) {
  EXPECT_EQ(fields.class_no, class_no);
  EXPECT_EQ(fields.serial, serial);
}

TEST(PlateParser, ExchangesClassAndSerialWhenTheUpperRowShowsTheSerialMoreOften) {
  const PlateFields fields = parse_with({{kBox, "品川456"}, {kBox, "品川456"}, {kBox, "品川123"}});
  expect_fields(fields, "456", "123");
  EXPECT_EQ(fields.final_plate_number, "品川 456 あ 123");
}

TEST(PlateParser, KeepsClassAndSerialWithoutEvidence) {
  expect_fields(parse_with({}), "123", "456");
  expect_fields(parse_with({{kLower, "456"}, {kSerial, "456"}, {kBox, "456"}}), "123", "456");
}

TEST(PlateParser, KeepsClassAndSerialWhenTheUpperRowShowsBothEquallyOften) {
  expect_fields(parse_with({{kBox, "品川456"}, {kBox, "品川123"}}), "123", "456");
  expect_fields(parse_with({{kBox, "品川456-123"}}), "123", "456");
  expect_fields(parse_with({{kBox, "品川123"}, {kBox, "品川123"}, {kBox, "品川456"}}), "123",
                "456");
}

TEST(PlateParser, CountsAReadingThatShowsBothForBoth) {
  expect_fields(parse_with({{kBox, "品川123い456"}, {kBox, "品川456"}}), "456", "123");
  expect_fields(parse_with({{kBox, "品川123い456"}, {kBox, "品川123"}}), "123", "456");
}

TEST(PlateParser, CountsAReadingOnceThoughItShowsTheSerialTwice) {
  expect_fields(parse_with({{kBox, "品川456い456"}, {kBox, "品川123"}}), "123", "456");
}

TEST(PlateParser, TakesTheSourceForEvidenceOfTheUpperRow) {
  expect_fields(parse_with({{kUpper, "1456"}}), "456", "123");
}

TEST(PlateParser, LooksForEvidenceAcrossBlanks) {
  expect_fields(parse_with({{kBox, "品 川4 56"}}), "456", "123");
}

TEST(PlateParser, TakesAnyRegionWordForEvidenceNotOnlyTheChosen) {
  expect_fields(parse_with({{kUpper, "横浜"}, {kBox, "品川456"}}, {"横浜", "品川"}), "456", "123");
}

TEST(PlateParser, TakesNoEvidenceFromAnEmptyRegionWord) {
  expect_fields(parse_with({{kBox, "456"}}, {"", "品川"}), "123", "456");
}

TEST(PlateParser, LooksForEvidenceInTextNotInRuns) {
  expect_fields(parse_with({{kBox, "品川94567"}}), "456", "123");
  expect_fields(parse_with({{kBox, "品川45-6"}}), "123", "456");
}

TEST(PlateParser, NeverExchangesASerialOfFourDigits) {
  const PlateFields fields = parse({{kBox, "品川12-34"}, {kBox, "品川12-34"}, {kLower, "123"}});
  expect_fields(fields, "123", "12-34");
}

// 品川 500 あ 12-34 as a whole (weight 2), its upper row (4) and its lower row (3).
const Readings kPlateAndRows = {
    {kFull, "品川 500 あ 12-34"}, {kUpper, "品川500"}, {kLower, "あ12-34"}};

TEST(PlateDecision, ShowsTheVotesOfEachReading) {
  const PlateDecision decision = decide_plate(kPlateAndRows, {"品川"});
  ASSERT_EQ(decision.votes.size(), 3U);
  EXPECT_EQ(decision.votes[0].region, (Tally{{"品川", 2}}));
  EXPECT_EQ(decision.votes[0].class_no, (Tally{{"500", 8}}));
  EXPECT_EQ(decision.votes[0].kana, (Tally{{"あ", 2}}));
  EXPECT_EQ(decision.votes[0].serial, (Tally{{"12-34", 15}, {"500", 1}}));
  EXPECT_EQ(decision.votes[1].region, (Tally{{"品川", 4}}));
  EXPECT_EQ(decision.votes[1].class_no, (Tally{{"500", 8}}));
  EXPECT_EQ(decision.votes[1].kana, Tally());
  EXPECT_EQ(decision.votes[1].serial, (Tally{{"500", 1}}));
  EXPECT_EQ(decision.votes[2].kana, (Tally{{"あ", 3}}));
  EXPECT_EQ(decision.votes[2].serial, (Tally{{"12-34", 9}}));
}

TEST(PlateDecision, SumsTheVotes) {
  const PlateDecision decision = decide_plate(kPlateAndRows, {"品川"});
  EXPECT_EQ(decision.totals.region, (Tally{{"品川", 6}}));
  EXPECT_EQ(decision.totals.class_no, (Tally{{"500", 16}}));
  EXPECT_EQ(decision.totals.kana, (Tally{{"あ", 5}}));
  EXPECT_EQ(decision.totals.serial, (Tally{{"12-34", 24}, {"500", 2}}));
  EXPECT_FALSE(decision.exchanged);
  EXPECT_EQ(decision.fields.final_plate_number, "品川 500 あ 12-34");
}

TEST(PlateDecision, TellsThatFieldsWereExchanged) {
  const Words words = {"品川"};
  EXPECT_TRUE(decide_plate({{kBox, "品川123い456"}, {kBox, "品川456"}}, words).exchanged);
  EXPECT_FALSE(decide_plate({{kBox, "品川123い456"}, {kBox, "品川123"}}, words).exchanged);
}

TEST(PlateDecision, KeepsThePlaceOfAReadingWithoutVotes) {
  const PlateDecision decision = decide_plate({{kBox, "-"}, {kFull, "あ"}}, {"品川"});
  ASSERT_EQ(decision.votes.size(), 2U);
  EXPECT_EQ(decision.votes[0].kana, Tally());
  EXPECT_EQ(decision.votes[1].kana, (Tally{{"あ", 2}}));
}

// Readings put together from pieces of plates, of any source, in which words, kana and digits meet
// often enough for ties and for exchanges of class number and serial.
Readings random_readings(std::mt19937& random, const Words& words) {
  const std::vector<std::string> sources = {kBox, kFull, kUpper, kLower, kSerial};
  Words pieces = {"12-34", "12-35", "500", "501", "7", "98765", "あ", "か", "し", " ", "-", "x"};
  pieces.insert(pieces.end(), words.begin(), words.end());
  Readings readings(random() % 12);
  for (OcrText& reading : readings) {
    reading.source = sources[random() % sources.size()];
    for (std::size_t i = random() % 6; i > 0; --i) reading.text += pieces[random() % pieces.size()];
  }
  return readings;
}

std::vector<std::string> texts_of(const PlateFields& fields) {
  return {fields.region, fields.class_no, fields.kana, fields.serial, fields.final_plate_number};
}

TEST(PlateParser, GivesTheSameFieldsForAnyOrderOfReadings) {
  const Words words = {"川", "品川", "横浜", "ABC"};
  std::mt19937 random(3);
  for (int round = 0; round < 5000; ++round) {
    Readings readings = random_readings(random, words);
    const std::vector<std::string> fields = texts_of(parse(readings, words));
    std::shuffle(readings.begin(), readings.end(), random);
    ASSERT_EQ(texts_of(parse(readings, words)), fields) << round;
  }
}

// Of words of equal length only the order in the file tells which one a reading with both means.
bool shows_two_of_a_length(const Readings& readings, const Words& words) {
  return std::any_of(readings.begin(), readings.end(), [&](const OcrText& reading) {
    return std::any_of(words.begin(), words.end(), [&](const std::string& word) {
      return std::any_of(words.begin(), words.end(), [&](const std::string& other) {
        return word != other && word.size() == other.size() &&
               reading.text.find(word) != std::string::npos &&
               reading.text.find(other) != std::string::npos;
      });
    });
  });
}

TEST(PlateParser, GivesTheSameFieldsForAnyOrderOfRegionWords) {
  Words words = {"川", "浜", "品川", "横浜", "石川県", "A"};
  std::mt19937 random(4);
  int compared = 0;
  for (int round = 0; round < 8000; ++round) {
    const Readings readings = random_readings(random, words);
    if (shows_two_of_a_length(readings, words)) continue;
    const std::vector<std::string> fields = texts_of(parse(readings, words));
    std::shuffle(words.begin(), words.end(), random);
    ASSERT_EQ(texts_of(parse(readings, words)), fields) << round;
    ++compared;
  }
  EXPECT_GT(compared, 2000);
}

TEST(PlateParser, TakesTheFirstInTheFileOfWordsOfEqualLength) {
  EXPECT_EQ(parse({{kBox, "横浜品川"}}, {"品川", "横浜"}).region, "品川");
  EXPECT_EQ(parse({{kBox, "品川横浜"}}, {"横浜", "品川"}).region, "横浜");
}

}  // namespace
}  // namespace kavrel
