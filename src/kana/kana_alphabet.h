// The hiragana of Japanese plates. Texts are searched byte by byte, without any normalisation.
#ifndef KAVREL_KANA_KANA_ALPHABET_H
#define KAVREL_KANA_KANA_ALPHABET_H

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace kavrel {

// In the order in which searches prefer them, which is that of their bytes. The ministry's
// alphabet: し, へ and ん are avoided for their sound, を for being mistaken for お.
constexpr std::array<std::string_view, 42> kana_list = {
    "あ", "い", "う", "え", "お", "か", "き", "く", "け", "こ", "さ", "す", "せ", "そ",
    "た", "ち", "つ", "て", "と", "な", "に", "ぬ", "ね", "の", "は", "ひ", "ふ", "ほ",
    "ま", "み", "む", "め", "も", "や", "ゆ", "よ", "ら", "り", "る", "れ", "ろ", "わ",
};

// Whether `text` is one plate kana and nothing else. The lead byte is looked at first and in place:
// dictionaries are searched for their few kana among thousands of characters.
inline bool is_valid_plate_kana_string(const std::string& text) {
  const bool may_be_kana = !text.empty() && text.front() == kana_list.front().front();
  return may_be_kana && std::binary_search(kana_list.begin(), kana_list.end(), text);
}

// The first kana of the alphabet, not of the text, that occurs in `text`; "" without one.
std::string find_hiragana_kana(const std::string& text);

// As above; without a kana, the kana that a look-alike in `text` stands for.
std::string find_kana_or_visual_confusion(const std::string& text);

}  // namespace kavrel

#endif
