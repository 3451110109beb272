#include "dictionary.h"

#include <algorithm>
#include <stdexcept>

#include "kana/kana_alphabet.h"

namespace bench {
namespace {

// A character of the Basic Multilingual Plane from U+0800 on.
std::string utf8(unsigned code_point) {
  return {static_cast<char>(0xE0U | code_point >> 12U),
          static_cast<char>(0x80U | (code_point >> 6U & 0x3FU)),
          static_cast<char>(0x80U | (code_point & 0x3FU))};
}

std::size_t character_length(char lead) { return static_cast<unsigned char>(lead) < 0x80 ? 1 : 3; }

}  // namespace

std::vector<std::string> make_dictionary(int classes) {
  constexpr unsigned kFirstIdeograph = 0x4E00;
  std::vector<std::string> entries = {"0", "1", "2", "3", "4",  "5", "6",
                                      "7", "8", "9", "-", "品", "川"};
  entries.insert(entries.end(), kavrel::kana_list.begin(), kavrel::kana_list.end());
  const auto wanted = static_cast<std::size_t>(classes) - 1;
  if (wanted < entries.size()) throw std::invalid_argument("no room for the plate kana");
  for (unsigned i = 0; entries.size() < wanted; ++i) entries.push_back(utf8(kFirstIdeograph + i));
  return entries;
}

std::vector<int> classes_of(const std::string& text, const std::vector<std::string>& dictionary) {
  std::vector<int> classes;
  for (std::size_t at = 0; at < text.size(); at += character_length(text[at])) {
    const auto entry = std::find(dictionary.begin(), dictionary.end(),
                                 text.substr(at, character_length(text[at])));
    if (entry == dictionary.end()) throw std::invalid_argument("not in the dictionary: " + text);
    const int next = static_cast<int>(entry - dictionary.begin()) + 1;
    if (!classes.empty() && classes.back() == next) classes.push_back(0);
    classes.push_back(next);
  }
  return classes;
}

}  // namespace bench
