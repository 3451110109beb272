// The least that a run can do: the image-library calls and the file writes that no program that
// leaves the same pictures can do without, straight one after the other. The networks' answers are
// known beforehand and nothing is read, decoded, parsed or voted. Its pictures are those of kavrel
// byte for byte, which case_cost checks.
//
//   floor LIST OUTPUT_DIR with|without CLASSES
//
// LIST names an image a line; the third word says whether the kana is searched. With CLASSES of the
// recogniser above 0 the networks' outputs are also taken: copied, as the runtime wants its buffers
// back, and read once where every value counts.

#include <malloc.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <opencv2/core/utility.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <string>
#include <utility>
#include <vector>

#include "scene.h"

namespace {

const cv::Scalar kGreen(0, 255, 0);
const cv::Scalar kRed(0, 0, 255);

cv::Mat network_input(const cv::Mat& image, int width, int height) {
  cv::Mat rgb;
  cv::resize(image, rgb, cv::Size(width, height), 0.0, 0.0, cv::INTER_LINEAR);
  cv::cvtColor(rgb, rgb, cv::COLOR_BGR2RGB);
  return rgb;
}

cv::Mat line_input(const cv::Mat& crop) {
  const float scale =
      std::min(320.0F / static_cast<float>(crop.cols), 48.0F / static_cast<float>(crop.rows));
  const cv::Size size(
      std::max(1, static_cast<int>(std::round(static_cast<float>(crop.cols) * scale))),
      std::max(1, static_cast<int>(std::round(static_cast<float>(crop.rows) * scale))));
  cv::Mat canvas(48, 320, CV_8UC3, cv::Scalar::all(255));
  cv::Mat text_area = canvas(cv::Rect(cv::Point(0, 0), size));
  cv::resize(crop, text_area, size, 0.0, 0.0, cv::INTER_LINEAR);
  cv::cvtColor(text_area, text_area, cv::COLOR_BGR2RGB);
  return canvas;
}

cv::Mat gray_as_bgr(const cv::Mat& gray) {
  cv::Mat bgr;
  cv::cvtColor(gray, bgr, cv::COLOR_GRAY2BGR);
  return bgr;
}

cv::Mat gray_of(const cv::Mat& image) {
  cv::Mat gray;
  cv::cvtColor(image, gray, cv::COLOR_BGR2GRAY);
  return gray;
}

cv::Mat otsu(const cv::Mat& gray, int type) {
  cv::Mat binary;
  cv::threshold(gray, binary, 0.0, 255.0, type | cv::THRESH_OTSU);
  return gray_as_bgr(binary);
}

cv::Mat clahe(const cv::Mat& image) {
  static const cv::Ptr<cv::CLAHE> kEqualiser = cv::createCLAHE(2.0, cv::Size(8, 8));
  cv::Mat lab;
  cv::cvtColor(image, lab, cv::COLOR_BGR2Lab);
  cv::Mat lightness;
  cv::extractChannel(lab, lightness, 0);
  kEqualiser->apply(lightness, lightness);
  cv::insertChannel(lightness, lab, 0);
  cv::cvtColor(lab, lab, cv::COLOR_Lab2BGR);
  return lab;
}

cv::Mat sharpen(const cv::Mat& image) {
  cv::Mat sharpened;
  cv::GaussianBlur(image, sharpened, cv::Size(0, 0), 1.0);
  cv::addWeighted(image, 1.6, sharpened, -0.6, 0.0, sharpened);
  return sharpened;
}

cv::Mat enlarge(const cv::Mat& image, double factor) {
  cv::Mat enlarged;
  cv::resize(image, enlarged, cv::Size(), factor, factor, cv::INTER_CUBIC);
  return enlarged;
}

// The part of an image between fractions of its width and height, not copied.
cv::Mat part(const cv::Mat& image, float x0, float y0, float x1, float y1) {
  const auto low = [](int size, float at) {
    return static_cast<int>(std::floor(static_cast<float>(size) * at));
  };
  const auto high = [](int size, float at) {
    return static_cast<int>(std::ceil(static_cast<float>(size) * at));
  };
  return image(cv::Rect(cv::Point(low(image.cols, x0), low(image.rows, y0)),
                        cv::Point(high(image.cols, x1), high(image.rows, y1))));
}

// The networks' outputs: written by the runtime, so they are there when the floor begins.
class Outputs {
 public:
  explicit Outputs(int classes) : scores_(bench::kSteps, classes, CV_32F, cv::Scalar(0)) {
    for (const cv::Rect& line : bench::kTextLines) map_(line) = bench::kTextProbability;
  }

  cv::Mat text_map() const {
    if (scores_.empty()) return map_;
    cv::Mat map = map_.clone();
    read(map);
    return map;
  }
  void read_line() const { read(scores_.clone()); }
  // Few of the scores count: reading them takes no time.
  void read_kana() const { const cv::Mat copy = scores_.clone(); }

 private:
  // As fast as memory can be: looks for a byte that no output has.
  static void read(const cv::Mat& values) {
    const std::size_t bytes = values.total() * values.elemSize();
    if (bytes > 0 && std::memchr(values.data, 0xFF, bytes) != nullptr) std::abort();
  }

  cv::Mat map_ = cv::Mat(bench::kMapSide, bench::kMapSide, CV_32F, cv::Scalar(0));
  cv::Mat scores_;
};

cv::Rect padded_box(const cv::Rect& region, const cv::Size& size) {
  const float sx = static_cast<float>(size.width) / bench::kMapSide;
  const float sy = static_cast<float>(size.height) / bench::kMapSide;
  cv::Rect box(static_cast<int>(std::floor(static_cast<float>(region.x) * sx)) - 5,
               static_cast<int>(std::floor(static_cast<float>(region.y) * sy)) - 4,
               static_cast<int>(std::ceil(static_cast<float>(region.width) * sx)) + 10,
               static_cast<int>(std::ceil(static_cast<float>(region.height) * sy)) + 8);
  return box & cv::Rect(cv::Point(0, 0), size);
}

// The boxes of the text lines, upper one first, and their two pictures.
std::array<cv::Rect, 2> find_lines(const cv::Mat& image, const cv::Mat& text_map,
                                   const std::string& prefix) {
  cv::Mat mask;
  cv::compare(text_map, 0.3, mask, cv::CMP_GT);
  cv::morphologyEx(mask, mask, cv::MORPH_CLOSE,
                   cv::getStructuringElement(cv::MORPH_RECT, cv::Size(5, 3)));
  cv::Mat picture;
  cv::resize(mask, picture, image.size(), 0.0, 0.0, cv::INTER_LINEAR);
  cv::imwrite(prefix + "_det_mask.jpg", picture);
  std::vector<std::vector<cv::Point>> contours;
  cv::findContours(mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
  std::array<cv::Rect, 2> boxes = {padded_box(cv::boundingRect(contours.at(0)), image.size()),
                                   padded_box(cv::boundingRect(contours.at(1)), image.size())};
  if (boxes[1].y < boxes[0].y) std::swap(boxes[0], boxes[1]);
  picture = image.clone();
  for (const cv::Rect& box : boxes) cv::rectangle(picture, box, kGreen, 2);
  cv::imwrite(prefix + "_det_boxes.jpg", picture);
  return boxes;
}

void read_variant(const cv::Mat& image, const std::string& name, const std::string& dir,
                  const Outputs& outputs) {
  const auto read = [&outputs](const cv::Mat& line) {
    line_input(line);
    outputs.read_line();
  };
  const std::string prefix = dir + "/ocr_variant_" + name;
  cv::imwrite(prefix + ".jpg", image);
  network_input(image, bench::kMapSide, bench::kMapSide);
  int number = 0;
  for (const cv::Rect& box : find_lines(image, outputs.text_map(), prefix)) {
    const cv::Mat line = image(box);
    cv::imwrite(dir + "/ocr_" + name + "_crop_" + std::to_string(number++) + ".jpg", line);
    read(line);
  }
  read(image);
  read(part(image, 0.0F, 0.0F, 1.0F, 0.5F));
  read(part(image, 0.0F, 0.38F, 1.0F, 1.0F));
  read(part(image, 0.28F, 0.38F, 1.0F, 1.0F));
}

struct KanaRegion {
  const char* name;
  bool of_roi;
  float x0, y0, x1, y1;
};

constexpr std::array<KanaRegion, 10> kKanaRegions = {{
    {"rect_kana_left_lower_wide", false, 0.0F, 0.35F, 0.45F, 1.0F},
    {"roi_kana_left_lower_wide", true, 0.0F, 0.35F, 0.45F, 1.0F},
    {"rect_kana_narrow_00_18", false, 0.0F, 0.35F, 0.18F, 0.98F},
    {"rect_kana_narrow_00_22", false, 0.0F, 0.35F, 0.22F, 0.98F},
    {"rect_kana_narrow_02_26", false, 0.02F, 0.38F, 0.26F, 0.98F},
    {"rect_kana_narrow_low", false, 0.0F, 0.45F, 0.28F, 1.0F},
    {"roi_kana_narrow_00_18", true, 0.0F, 0.35F, 0.18F, 0.98F},
    {"roi_kana_narrow_00_22", true, 0.0F, 0.35F, 0.22F, 0.98F},
    {"roi_kana_narrow_02_26", true, 0.02F, 0.38F, 0.26F, 0.98F},
    {"roi_kana_narrow_low", true, 0.0F, 0.45F, 0.28F, 1.0F},
}};

// Both readings of a candidate take the same input.
void search_kana(const cv::Mat& rectified, const cv::Mat& roi, const std::string& dir,
                 const Outputs& outputs) {
  for (const auto& [name, of_roi, x0, y0, x1, y1] : kKanaRegions) {
    // A copy: filters would look at the pixels around a part.
    const cv::Mat region = part(of_roi ? roi : rectified, x0, y0, x1, y1).clone();
    const std::string prefix = dir + "/kana_fallback_" + name;
    const auto read = [&](const cv::Mat& candidate, const char* suffix) {
      cv::imwrite(prefix + suffix + ".jpg", candidate);
      line_input(candidate);
      outputs.read_line();
      outputs.read_kana();
    };
    const cv::Mat gray = gray_of(region);
    const cv::Mat gray_bgr = gray_as_bgr(gray);
    const cv::Mat equalised = clahe(region);
    read(region, "_original");
    read(gray_bgr, "_gray");
    read(equalised, "_clahe");
    read(sharpen(region), "_sharpen");
    read(otsu(gray, cv::THRESH_BINARY), "_otsu");
    read(otsu(gray, cv::THRESH_BINARY_INV), "_otsu_inv");
    read(enlarge(region, 4.0), "_up4x");
    read(enlarge(gray_bgr, 5.0), "_gray_up5x");
    read(enlarge(gray_bgr, 8.0), "_gray_up8x");
    read(enlarge(equalised, 5.0), "_clahe_up5x");
  }
}

void draw_corners(const cv::Mat& roi, const std::vector<cv::Point2f>& corners,
                  const std::string& path) {
  cv::Mat picture = roi.clone();
  for (std::size_t k = 0; k < corners.size(); ++k) {
    cv::circle(picture, corners[k], 4, kRed, cv::FILLED);
    cv::line(picture, corners[k], corners[(k + 1) % corners.size()], kGreen, 2);
  }
  cv::imwrite(path, picture);
}

cv::Mat rectify(const cv::Mat& roi, const std::vector<cv::Point2f>& corners) {
  const std::vector<cv::Point2f> upright = {{0, 0}, {319, 0}, {319, 95}, {0, 95}};
  cv::Mat plate;
  cv::warpPerspective(roi, plate, cv::getPerspectiveTransform(corners, upright), cv::Size(320, 96),
                      cv::INTER_LINEAR, cv::BORDER_REPLICATE);
  return plate;
}

void run_case(const std::string& path, const std::string& dir, bool with_kana_search,
              const Outputs& outputs) {
  // As kavrel must: the caches are cold after it.
  if (std::system(("mkdir -p " + dir).c_str()) != 0) std::abort();
  cv::Mat image = cv::imread(path, cv::IMREAD_COLOR);
  network_input(image, bench::kPlateDetSide, bench::kPlateDetSide);
  const cv::Mat roi = image(bench::kPlate).clone();
  cv::rectangle(image, bench::kPlate, kGreen, 2);
  cv::imwrite(dir + "/plate_det_debug.jpg", image);
  cv::imwrite(dir + "/plate_roi.jpg", roi);

  network_input(roi, 256, 128);
  std::vector<cv::Point2f> corners;
  for (const cv::Point2f& corner : bench::kCorners) {
    corners.emplace_back(corner.x * static_cast<float>(roi.cols),
                         corner.y * static_cast<float>(roi.rows));
  }
  draw_corners(roi, corners, dir + "/corner_debug.jpg");
  const cv::Mat rectified = rectify(roi, corners);
  cv::imwrite(dir + "/rectified_plate.jpg", rectified);

  read_variant(rectified, "original", dir, outputs);
  read_variant(gray_as_bgr(gray_of(rectified)), "gray", dir, outputs);
  read_variant(clahe(rectified), "clahe", dir, outputs);
  read_variant(sharpen(rectified), "sharpen", dir, outputs);
  read_variant(enlarge(rectified, 2.0), "up2x", dir, outputs);
  if (with_kana_search) search_kana(rectified, roi, dir, outputs);

  // As long as the true ones.
  std::ofstream(dir + "/result.txt") << std::string(1200, 'x');
  std::ofstream(dir + "/result.json") << std::string(1300, 'x');
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return 1;
  // As kavrel: memory is kept, and OpenCV's threads stay out of small images.
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 256 << 20);
  cv::setNumThreads(1);
  const std::string output_dir = argv[2];
  const Outputs outputs(std::stoi(argv[4]));
  std::ifstream list(argv[1]);
  std::ofstream summary(output_dir + "/frame_summary.csv");
  for (std::string path; std::getline(list, path);) {
    const std::string name = path.substr(path.rfind('/') + 1);
    const std::string dir = output_dir + "/cases/" + name.substr(0, name.rfind('.'));
    run_case(path, dir, argv[3] == std::string("with"), outputs);
    summary << std::string(1200, 'x') << std::endl;
  }
}
