#include "kana/kana_alphabet.h"

#include "app/base/text.h"

namespace kavrel {
namespace {

// Characters that recognisers are known to produce in place of a kana, in the order of search: the
// kana itself, which searches for kana find before, and then its look-alikes.
struct Confusion {
  const char* seen;
  const char* kana;
};

constexpr std::array<Confusion, 3> kConfusions = {{{"あ", "あ"}, {"愛", "あ"}, {"爱", "あ"}}};

}  // namespace

std::string find_hiragana_kana(const std::string& text) {
  for (const std::string_view kana : kana_list) {
    if (contains(text, kana)) return std::string(kana);
  }
  return "";
}

std::string find_kana_or_visual_confusion(const std::string& text) {
  std::string kana = find_hiragana_kana(text);
  if (!kana.empty()) return kana;
  for (const Confusion& confusion : kConfusions) {
    if (contains(text, confusion.seen)) return confusion.kana;
  }
  return "";
}

}  // namespace kavrel
