#include "kana/kana_alphabet.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace kavrel {
namespace {

const std::string kAlphabet =
    "あいうえおかきくけこさすせそたちつてとなにぬねのはひふほまみむめもやゆよらりるれろわ";
constexpr std::size_t kBytesPerKana = 3;

std::vector<std::string> alphabet() {
  std::vector<std::string> kana;
  for (std::size_t i = 0; i < kAlphabet.size(); i += kBytesPerKana) {
    kana.push_back(kAlphabet.substr(i, kBytesPerKana));
  }
  return kana;
}

TEST(KanaAlphabet, HoldsFortyTwoHiraganaInOrder) {
  EXPECT_EQ(kana_list.size(), 42U);
  EXPECT_EQ(std::vector<std::string>(kana_list.begin(), kana_list.end()), alphabet());
}

TEST(IsValidPlateKana, HoldsForEveryKanaOfTheAlphabet) {
  for (const std::string& kana : alphabet()) EXPECT_TRUE(is_valid_plate_kana_string(kana)) << kana;
}

TEST(IsValidPlateKana, HoldsForNothingElse) {
  for (const std::string text : {"", "し", "へ", "を", "ん", "が", "ぱ", "ゃ", "っ", "ア", "\uFF71",
                                 "あ ", " あ", "ああ", "a", "愛", "\xE3\x81"}) {
    EXPECT_FALSE(is_valid_plate_kana_string(text)) << text;
  }
}

TEST(FindHiraganaKana, FindsEveryKanaAnywhereInAText) {
  for (const std::string& kana : alphabet()) {
    EXPECT_EQ(find_hiragana_kana(kana), kana);
    EXPECT_EQ(find_hiragana_kana("500" + kana + "1234"), kana);
    EXPECT_EQ(find_hiragana_kana("し" + kana), kana);
  }
}

TEST(FindHiraganaKana, PrefersTheKanaThatComesFirstInTheAlphabet) {
  const std::vector<std::string> kana = alphabet();
  for (std::size_t i = 1; i < kana.size(); ++i) {
    EXPECT_EQ(find_hiragana_kana(kana[i] + "12" + kana[i - 1]), kana[i - 1]);
    EXPECT_EQ(find_hiragana_kana(kana[i - 1] + kana[i]), kana[i - 1]);
  }
  EXPECT_EQ(find_hiragana_kana("わ12あ"), "あ");
}

TEST(FindHiraganaKana, FindsNoneWhereThereIsNone) {
  for (const std::string text : {"", "500 12-34", "し", "へをん", "ア", "が", "愛", "爱"}) {
    EXPECT_EQ(find_hiragana_kana(text), "") << text;
  }
}

TEST(FindKanaOrVisualConfusion, ReadsLookAlikesAsTheirKana) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"愛12", "あ"}, {"12爱", "あ"}, {"し愛", "あ"}, {"爱愛", "あ"},
      {"12-34", ""},  {"し", ""},     {"", ""},       {"受", ""},
  };
  for (const auto& [text, kana] : cases) {
    EXPECT_EQ(find_kana_or_visual_confusion(text), kana) << text;
  }
}

TEST(FindKanaOrVisualConfusion, PrefersAnyKanaToALookAlike) {
  for (const std::string& kana : alphabet()) {
    EXPECT_EQ(find_kana_or_visual_confusion("愛" + kana + "爱"), kana);
  }
}

}  // namespace
}  // namespace kavrel
