#ifndef KAVREL_OCR_OCR_TEXT_H
#define KAVREL_OCR_OCR_TEXT_H

#include <string>

namespace kavrel {

// One reading of a plate or a part of it.
struct OcrText {
  std::string source;  // see output::source, for example "gray_upper_row"
  std::string text;    // trimmed, not empty
};

}  // namespace kavrel

#endif
