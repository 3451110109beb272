#include "report/list/label.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "app/base/text.h"
#include "kana/kana_alphabet.h"
#include "reading/plate_text.h"
#include "report/base/fields.h"
#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

constexpr char32_t kFirstFullWidth = 0xFF01;  // the characters from '!' to '~', in ASCII's order
constexpr char32_t kLastFullWidth = 0xFF5E;
constexpr char32_t kFirstKatakana = 0x30A1;  // in the order of the hiragana from 0x3041
constexpr char32_t kLastKatakana = 0x30F6;
constexpr char32_t kKatakanaToHiragana = 0x60;
// Half-width katakana in the order of their code points, from 0xFF66.
constexpr char32_t kFirstHalfWidth = 0xFF66;
constexpr std::u32string_view kHalfWidth =
    U"ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテトナニヌネノハヒフヘホマミムメモ"
    U"ヤユヨラリルレロワン";

// The ideographic one, those that typesetters have, and those that have no width.
constexpr std::u32string_view kBlanks =
    U"\u3000\u00A0\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200A\u200B\u202F\uFEFF";

// Hyphens, dashes, minus signs and the long vowel's mark, which a Japanese keyboard has in their
// place.
constexpr std::u32string_view kHyphens =
    U"\u2010\u2011\u2012\u2013\u2014\u2015\u2212\u2500\uFF70\u30FC";
// Dots that fill up a short serial.
constexpr std::u32string_view kDots = U"\u30FB\u00B7\uFF65\u2022\u2219\u22C5";

char32_t plain(char32_t character) {
  if (kBlanks.find(character) != std::u32string_view::npos) return U' ';
  if (character >= kFirstFullWidth && character <= kLastFullWidth) {
    return character - kFirstFullWidth + U'!';
  }
  if (kHyphens.find(character) != std::u32string_view::npos) return U'-';
  const bool is_half_width =
      character >= kFirstHalfWidth && character < kFirstHalfWidth + kHalfWidth.size();
  return is_half_width ? kHalfWidth[character - kFirstHalfWidth] : character;
}

std::string plain_text(const std::string& text) {
  std::u32string plain_characters;
  for (const char32_t character : code_points(text)) {
    if (kDots.find(character) == std::u32string_view::npos) plain_characters += plain(character);
  }
  return utf8(plain_characters);
}

std::string hiragana(const std::string& kana) {
  std::u32string characters = code_points(kana);
  for (char32_t& character : characters) {
    if (character >= kFirstKatakana && character <= kLastKatakana) character -= kKatakanaToHiragana;
  }
  return utf8(characters);
}

// The region word that is spelled with the other ke, or in hiragana: 袖ヶ浦 and 袖ケ浦 are one.
std::string known_spelling(const std::string& region, const std::vector<std::string>& words) {
  if (std::find(words.begin(), words.end(), region) != words.end()) return region;
  const auto with_one_ke = [](const std::string& text) {
    std::u32string characters = code_points(text);
    std::replace(characters.begin(), characters.end(), U'ヶ', U'ケ');
    return characters;
  };
  const auto word = std::find_if(words.begin(), words.end(), [&](const std::string& candidate) {
    return with_one_ke(candidate) == with_one_ke(region);
  });
  if (word != words.end()) return *word;
  const std::string in_hiragana = hiragana(region);
  const bool is_known = std::find(words.begin(), words.end(), in_hiragana) != words.end();
  return is_known ? in_hiragana : region;
}

bool all_digits(const std::string& text) {
  return std::all_of(text.begin(), text.end(), is_ascii_digit);
}

// Digits with at most hyphens between them are a serial; anything else is left as it is.
std::string known_serial(const std::string& serial) {
  const bool digits_and_hyphens = std::all_of(
      serial.begin(), serial.end(), [](char byte) { return is_ascii_digit(byte) || byte == '-'; });
  return digits_and_hyphens ? format_serial(serial) : serial;
}

PlateFields fields_out_of_reach(const PlateFields& plate, const std::vector<std::string>& words) {
  PlateFields fields;
  if (std::find(words.begin(), words.end(), plate.region) == words.end()) {
    fields.region = plate.region;
  }
  if (plate.class_no.size() != 3 || !all_digits(plate.class_no)) fields.class_no = plate.class_no;
  if (!is_valid_plate_kana_string(plate.kana)) fields.kana = plate.kana;
  const std::size_t digits = digits_only(plate.serial).size();
  const bool is_serial =
      (digits == 3 || digits == 4) && format_serial(plate.serial) == plate.serial;
  if (!is_serial) fields.serial = plate.serial;
  return fields;
}

constexpr std::u32string_view kSeparators = U" _-.";

// What stands at the beginning of a text, and is cut off it.
class Cutter {
 public:
  explicit Cutter(std::u32string_view text) : text_(text) {}

  void skip_separators() {
    const std::size_t end = text_.find_first_not_of(kSeparators);
    text_.remove_prefix(std::min(end, text_.size()));
  }

  std::string take(std::size_t count) {
    const std::u32string_view head = text_.substr(0, count);
    text_.remove_prefix(head.size());
    return utf8(std::u32string(head));
  }

  std::string take_digits(std::size_t most) {
    std::size_t count = 0;
    while (count < std::min(most, text_.size()) && is_digit(text_[count])) ++count;
    return take(count);
  }

  bool begins_with_digit() const { return !text_.empty() && is_digit(text_.front()); }

 private:
  static bool is_digit(char32_t character) { return character >= U'0' && character <= U'9'; }

  std::u32string_view text_;
};

std::string take_serial(Cutter& cutter) {
  std::string first = cutter.take_digits(4);
  if (first.size() != 2) return first;
  if (cutter.take(1) != "-") return "";
  const std::string second = cutter.take_digits(3);
  return second.size() == 2 ? first + "-" + second : "";
}

std::optional<PlateFields> plate_behind(const std::string& region, std::u32string_view text,
                                        const std::vector<std::string>& words) {
  Cutter cutter(text);
  PlateFields plate;
  plate.region = region;
  cutter.skip_separators();
  plate.class_no = cutter.take_digits(4);
  cutter.skip_separators();
  plate.kana = hiragana(cutter.take(1));
  cutter.skip_separators();
  plate.serial = known_serial(take_serial(cutter));
  const PlateFields wrong = fields_out_of_reach(plate, words);
  plate.final_plate_number = assemble_plate_number(plate);
  const bool is_plate = !plate.serial.empty() && !cutter.begins_with_digit() &&
                        std::all_of(kFields.begin(), kFields.end(), [&](const Field& field) {
                          return !(plate.*field.value).empty() && (wrong.*field.value).empty();
                        });
  return is_plate ? std::optional(plate) : std::nullopt;
}

}  // namespace

bool Label::is_out_of_reach() const {
  return std::any_of(kFields.begin(), kFields.end(),
                     [&](const Field& field) { return !(out_of_reach.*field.value).empty(); });
}

Label read_label(const std::string& expected, const std::vector<std::string>& region_words) {
  Label label;
  auto plate = split_plate_number(plain_text(expected));
  if (!plate) return label;
  plate->region = known_spelling(plate->region, region_words);
  plate->kana = hiragana(plate->kana);
  plate->serial = known_serial(plate->serial);
  plate->final_plate_number = assemble_plate_number(*plate);
  label.out_of_reach = fields_out_of_reach(*plate, region_words);
  label.as_kavrel_writes =
      normalize_plate_text(expected) == normalize_plate_text(plate->final_plate_number);
  label.plate = std::move(plate);
  return label;
}

std::optional<PlateFields> find_label(const std::string& text,
                                      const std::vector<std::string>& region_words) {
  const std::u32string characters = code_points(plain_text(text));
  const std::string bytes = utf8(characters);
  for (const std::string& word : region_words) {
    if (!contains(bytes, word)) continue;
    const std::u32string name = code_points(word);
    for (std::size_t at = characters.find(name); at != std::u32string::npos;
         at = characters.find(name, at + 1)) {
      const auto rest = std::u32string_view(characters).substr(at + name.size());
      if (auto plate = plate_behind(word, rest, region_words)) return plate;
    }
  }
  return std::nullopt;
}

}  // namespace kavrel::report
