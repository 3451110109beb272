#include "ocr/whole_plate_ocr.h"

#include <array>
#include <opencv2/imgcodecs.hpp>

#include "app/base/output_format.h"
#include "app/base/text.h"
#include "ocr/line_recogniser.h"
#include "ocr/text_detection.h"
#include "plate/image_prep.h"

namespace kavrel {
namespace {

constexpr float kTextThreshold = 0.3F;

struct Variant {
  std::string name;
  cv::Mat image;
};

std::vector<Variant> make_variants(const cv::Mat& plate) {
  return {{output::source::kOriginal, plate},
          {output::source::kGray, make_gray_bgr(plate)},
          {output::source::kClahe, make_clahe_bgr(plate)},
          {output::source::kSharpen, make_sharpen_bgr(plate)},
          {output::source::kUp2x, enlarge(plate, 2.0)}};
}

// Fractions of the plate's width and height. The rows overlap, as plates are not always rectified
// exactly; the serial area is the lower row without the strip of the kana.
struct Window {
  const char* name;
  float x0, y0, x1, y1;
};

constexpr std::array<Window, 3> kWindows = {{
    {output::source::kUpperRow, 0.0F, 0.0F, 1.0F, 0.5F},
    {output::source::kLowerRow, 0.0F, 0.38F, 1.0F, 1.0F},
    {output::source::kSerialArea, 0.28F, 0.38F, 1.0F, 1.0F},
}};

// Reads crops of one plate and collects what they say.
class Reader {
 public:
  Reader(RknnModel& rec, const std::vector<std::string>& dict) : rec_(rec), dict_(dict) {}

  void read(const cv::Mat& crop, const std::string& source) {
    add_text_if_valid(texts_, source, run_ppocr_rec(rec_, crop, dict_));
  }
  const std::vector<OcrText>& texts() const { return texts_; }

 private:
  RknnModel& rec_;
  const std::vector<std::string>& dict_;
  std::vector<OcrText> texts_;
};

// A box that lies outside of the image gets no number.
void read_text_lines(RknnModel& det, const Variant& variant, const std::string& out_dir,
                     Reader& reader) {
  const std::string debug_prefix = out_dir + "/" + output::picture::variant_stem(variant.name);
  const cv::Rect whole_image(cv::Point(0, 0), variant.image.size());
  int number = 0;
  for (const TextBox& text_box :
       run_ppocr_det_boxes(det, variant.image, debug_prefix, kTextThreshold)) {
    const cv::Rect inside = text_box.box & whole_image;
    if (inside.empty()) continue;
    const cv::Mat crop = variant.image(inside).clone();
    cv::imwrite(out_dir + "/" + output::picture::text_line(variant.name, number), crop);
    reader.read(crop, output::source::of_text_line(variant.name, number));
    ++number;
  }
}

void read_windows(const Variant& variant, Reader& reader) {
  reader.read(variant.image, output::source::of_window(variant.name, output::source::kFull));
  for (const Window& window : kWindows) {
    const cv::Mat crop = crop_ratio(variant.image, window.x0, window.y0, window.x1, window.y1);
    reader.read(crop, output::source::of_window(variant.name, window.name));
  }
}

}  // namespace

std::vector<OcrText> run_whole_plate_ocr_variants(RknnModel& det, RknnModel& rec,
                                                  const cv::Mat& plate,
                                                  const std::vector<std::string>& dict,
                                                  const std::string& out_dir) {
  Reader reader(rec, dict);
  for (const Variant& variant : make_variants(plate)) {
    cv::imwrite(out_dir + "/" + output::picture::variant(variant.name), variant.image);
    read_text_lines(det, variant, out_dir, reader);
    read_windows(variant, reader);
  }
  return reader.texts();
}

void add_text_if_valid(std::vector<OcrText>& texts, const std::string& source,
                       const std::string& text) {
  const std::string trimmed = trim(text);
  if (!trimmed.empty()) texts.push_back({source, trimmed});
}

}  // namespace kavrel
