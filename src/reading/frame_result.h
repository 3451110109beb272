#ifndef KAVREL_READING_FRAME_RESULT_H
#define KAVREL_READING_FRAME_RESULT_H

#include <string>
#include <vector>

#include "ocr/ocr_text.h"
#include "reading/plate_fields.h"

namespace kavrel {

// What a finished case leaves for the group vote. Its status is not kept: a group is judged anew.
struct FrameResult {
  std::string image_path;
  std::string expected;  // empty without ground truth
  std::string group_id;
  PlateFields fields;
  std::vector<OcrText> ocr_texts;  // in the order in which they were read
};

}  // namespace kavrel

#endif
