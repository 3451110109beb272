#ifndef KAVREL_BENCH_DICTIONARY_H
#define KAVREL_BENCH_DICTIONARY_H

#include <string>
#include <vector>

namespace bench {

// An OCR dictionary for `classes` classes: digits, hyphen, two region characters, all plate kana,
// then ideographs.
std::vector<std::string> make_dictionary(int classes);

// The classes that decode to `text` with such a dictionary, equal neighbours apart by a blank.
std::vector<int> classes_of(const std::string& text, const std::vector<std::string>& dictionary);

}  // namespace bench

#endif
