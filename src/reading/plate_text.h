// Digits and canonical forms in plate texts. Only ASCII digits are digits; every byte of a
// multi-byte character separates. None of these functions throws.
#ifndef KAVREL_READING_PLATE_TEXT_H
#define KAVREL_READING_PLATE_TEXT_H

#include <string>
#include <vector>

namespace kavrel {

// The runs of digits in text order. A hyphen after a digit stays in its run: "12-34" is one.
std::vector<std::string> extract_digit_runs(const std::string& text);

std::string digits_only(const std::string& text);

// The digits of `text`; four of them as "12-34".
std::string format_serial(const std::string& text);

// The form in which plate texts are compared: without space, \t, \r and \n.
std::string normalize_plate_text(const std::string& text);

}  // namespace kavrel

#endif
