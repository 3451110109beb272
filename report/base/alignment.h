// How a reading differs from what was expected, character by character.
#ifndef KAVREL_REPORT_BASE_ALIGNMENT_H
#define KAVREL_REPORT_BASE_ALIGNMENT_H

#include <string>
#include <vector>

namespace kavrel::report {

// Stands where one side has no character.
constexpr char32_t kNoCharacter = 0xFFFFFFFF;

struct AlignedPair {
  char32_t expected;
  char32_t read;
};

// The pairs of a shortest edit path, in text order. Of equally short paths it takes the one that,
// walked from the end of both texts, pairs two characters wherever it can, else leaves out an
// expected one, and only then adds a read one. Only the first 256 characters of each text are
// looked at: no plate has as many.
std::vector<AlignedPair> align(const std::u32string& expected, const std::u32string& read);

// The same of texts in UTF-8.
std::vector<AlignedPair> align(const std::string& expected, const std::string& read);

// Pairs that differ: Levenshtein's distance.
int count_edits(const std::vector<AlignedPair>& pairs);

}  // namespace kavrel::report

#endif
