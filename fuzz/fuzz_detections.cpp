// The plate detector's rows: boxes lie inside of the image and are ranked.
#include <algorithm>
#include <cmath>

#include "fuzz/fuzz_support.h"
#include "plate/plate_detection.h"

using kavrel::PlateDetection;
using kavrel_fuzz::require;

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  FuzzedDataProvider data(bytes, size);
  const int largest_side = 1 << 20;  // more is no picture for OpenCV
  const int width = data.ConsumeIntegralInRange(1, largest_side);
  const int height = data.ConsumeIntegralInRange(1, largest_side);
  const auto threshold = data.ConsumeFloatingPointInRange(-1.0F, 2.0F);
  const std::vector<float> values = kavrel_fuzz::take_floats(data);
  const std::vector<PlateDetection> found =
      kavrel::parse_detection_output_as_n6(values, width, height, threshold);

  require(values.size() % 6 == 0 || found.empty(), "only whole rows of six are read");
  require(found.size() <= values.size() / 6, "a row gives at most one box");
  const cv::Rect image(0, 0, width, height);
  for (const PlateDetection& plate : found) {
    require((plate.box & image) == plate.box, "boxes lie inside of the image");
    require(plate.box.width >= 10 && plate.box.height >= 10, "a plate has at least 10 x 10 pixels");
    require(!(plate.score < threshold), "scores reach the threshold");
  }
  const bool numbers = std::none_of(found.begin(), found.end(),
                                    [](const auto& plate) { return std::isnan(plate.score); });
  require(
      !numbers || std::is_sorted(found.begin(), found.end(),
                                 [](const auto& a, const auto& b) { return a.score > b.score; }),
      "the highest score comes first");
  return 0;
}
