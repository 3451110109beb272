// The text detector's map: from any values to at most 16 boxes inside of the image.
#include <algorithm>

#include "fuzz/fuzz_support.h"
#include "ocr/text_detection.h"

using kavrel::TextBox;
using kavrel_fuzz::require;

namespace {

// One byte per value gives large maps of probabilities, four bytes per value give any float.
std::vector<float> take_values(FuzzedDataProvider& data) {
  if (data.ConsumeBool()) return kavrel_fuzz::take_floats(data);
  const auto bytes = data.ConsumeRemainingBytes<std::uint8_t>();
  std::vector<float> values(bytes.size());
  std::transform(bytes.begin(), bytes.end(), values.begin(),
                 [](std::uint8_t byte) { return static_cast<float>(byte) / 255.0F; });
  return values;
}

bool is_square(std::size_t count) {
  std::size_t side = 1;
  while (side * side < count) ++side;
  return side * side == count;
}

void check_boxes(const std::vector<TextBox>& boxes, const cv::Size& size) {
  require(boxes.size() <= 16, "there are at most 16 boxes");
  for (const TextBox& text : boxes) {
    require((text.box & cv::Rect({0, 0}, size)) == text.box, "boxes lie inside of the image");
    require(text.box.width >= 8 && text.box.height >= 8, "a text has at least 8 x 8 pixels");
    require(text.score == 1.0F, "every box has score 1");
  }
  require(boxes.size() != 2 || !kavrel::in_reading_order(boxes[1], boxes[0]),
          "boxes come in reading order");
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const cv::Size image_size(data.ConsumeIntegralInRange(1, 2000),
                            data.ConsumeIntegralInRange(1, 2000));
  const auto threshold = data.ConsumeFloatingPointInRange(0.0F, 1.0F);
  const std::vector<float> values = take_values(data);
  const cv::Mat probabilities = kavrel::text_probability_map(values);
  require(probabilities.empty() == !is_square(values.size()), "a map is square");
  if (probabilities.empty()) return 0;

  const cv::Mat mask = kavrel::text_mask(probabilities, threshold);
  require(mask.size() == probabilities.size() &&
              cv::countNonZero(mask) == cv::countNonZero(mask == 255),
          "a mask is 0 or 255 for each value");
  check_boxes(kavrel::text_boxes(mask, image_size), image_size);
  return 0;
}
