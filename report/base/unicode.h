// Text of a run as code points. A byte that is no part of valid UTF-8 counts as one U+FFFD.
#ifndef KAVREL_REPORT_BASE_UNICODE_H
#define KAVREL_REPORT_BASE_UNICODE_H

#include <string>

namespace kavrel::report {

std::u32string code_points(const std::string& text);
std::string utf8(const std::u32string& points);

// `bytes` as valid UTF-8 from which they can be had again: a byte XX that is no part of valid UTF-8
// is U+10FFXX, and so is each byte of such a character itself.
std::string bytes_as_text(const std::string& bytes);
std::string text_as_bytes(const std::string& text);

// `text` as it may stand on a page, in XML, in JSON and on a terminal: valid UTF-8 in which control
// characters are their pictures (U+2400 to U+2421), and characters that a page must not carry or
// that turn the direction of text are U+FFFD.
std::string printable(const std::string& text);
std::string printable(const std::u32string& text);

}  // namespace kavrel::report

#endif
