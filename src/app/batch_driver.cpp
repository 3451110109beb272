#include "app/batch_driver.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "app/base/files.h"
#include "app/base/log.h"
#include "app/base/text.h"
#include "app/case_list.h"
#include "app/final_report.h"
#include "app/frame_report.h"
#include "kana/kana_fallback.h"
#include "npu/rknn_model.h"
#include "ocr/line_recogniser.h"
#include "ocr/whole_plate_ocr.h"
#include "plate/plate_corner.h"
#include "plate/plate_detection.h"
#include "reading/plate_parser.h"

namespace kavrel {
namespace {

constexpr int kRectifiedWidth = 320;
constexpr int kRectifiedHeight = 96;

// Everything that a run reads before its first case.
struct Inputs {
  std::vector<std::string> region_words;
  std::vector<std::string> ocr_chars;
  std::vector<CaseItem> cases;
};

struct Networks {
  RknnModel plate_det;  // loaded only if it is used
  RknnModel plate_corner;
  RknnModel text_det;
  RknnModel text_rec;
};

Inputs read_inputs(const Args& args) {
  Inputs inputs;
  inputs.region_words = read_trimmed_lines(args.dict_region);
  inputs.ocr_chars = read_trimmed_lines(args.ocr_dict);
  inputs.cases = read_input_list(args.input_list);
  return inputs;
}

void log_start(const Args& args, bool use_plate_det, const Inputs& inputs) {
  log_line("[INFO] input_mode=" + args.input_mode);
  log_line(std::string("[INFO] use_plate_det=") + (use_plate_det ? "true" : "false"));
  log_line("[INFO] cases=" + std::to_string(inputs.cases.size()));
  log_line("[INFO] region_words=" + std::to_string(inputs.region_words.size()));
  log_line("[INFO] ocr_chars_loaded=" + std::to_string(inputs.ocr_chars.size()));
}

void load_networks(const Args& args, bool use_plate_det, Networks& networks) {
  if (use_plate_det) networks.plate_det.load(args.plate_det_model);
  networks.plate_corner.load(args.plate_corner_model);
  networks.text_det.load(args.ppocr_det_model);
  networks.text_rec.load(args.ppocr_rec_model);
}

cv::Mat read_image(const std::string& path) {
  cv::Mat image = cv::imread(path, cv::IMREAD_COLOR);
  if (image.empty()) throw std::runtime_error("failed to read image: " + path);
  return image;
}

void write_corner_picture(const cv::Mat& plate_roi, const std::vector<cv::Point2f>& corners,
                          const std::string& path) {
  cv::Mat picture = plate_roi.clone();
  for (std::size_t k = 0; k < corners.size(); ++k) {
    const cv::Point2f& next = corners[(k + 1) % corners.size()];
    cv::circle(picture, corners[k], 4, cv::Scalar(0, 0, 255), cv::FILLED, cv::LINE_8);
    cv::line(picture, corners[k], next, cv::Scalar(0, 255, 0), 2, cv::LINE_8);
  }
  cv::imwrite(path, picture);
}

// The story of one case, from its image to the fields of its plate.
class CaseReader {
 public:
  CaseReader(const Args& args, const Inputs& inputs, Networks& networks, bool use_plate_det)
      : args_(args),
        inputs_(inputs),
        networks_(networks),
        plate_det_(use_plate_det ? &networks.plate_det : nullptr) {}

  FrameResult read(const CaseItem& item, const std::string& case_dir) {
    const cv::Mat image = read_image(item.image_path);
    const cv::Mat plate_roi = crop_plate(image, case_dir);
    const cv::Mat rectified = rectify(plate_roi, case_dir);
    std::vector<OcrText> texts = run_whole_plate_ocr_variants(
        networks_.text_det, networks_.text_rec, rectified, inputs_.ocr_chars, case_dir);
    PlateFields fields = parse_jp_plate(texts, inputs_.region_words);
    if (fields.kana.empty()) recover_kana(rectified, plate_roi, case_dir, fields);
    return {item.image_path, item.expected, item.group_id, fields, std::move(texts)};
  }

 private:
  cv::Mat crop_plate(const cv::Mat& image, const std::string& case_dir) {
    const auto detections = run_plate_det(plate_det_, image, args_.plate_det_thresh, case_dir);
    const cv::Rect whole_image(cv::Point(0, 0), image.size());
    cv::Mat plate_roi = image(detections.front().box & whole_image).clone();
    cv::imwrite(case_dir + "/plate_roi.jpg", plate_roi);
    return plate_roi;
  }

  cv::Mat rectify(const cv::Mat& plate_roi, const std::string& case_dir) {
    const auto corners = run_plate_corner(networks_.plate_corner, plate_roi);
    write_corner_picture(plate_roi, corners, case_dir + "/corner_debug.jpg");
    cv::Mat rectified = warp_plate(plate_roi, corners, kRectifiedWidth, kRectifiedHeight);
    cv::imwrite(case_dir + "/rectified_plate.jpg", rectified);
    return rectified;
  }

  void recover_kana(const cv::Mat& rectified, const cv::Mat& plate_roi, const std::string& case_dir,
                    PlateFields& fields) {
    const std::string kana =
        run_kana_fallback(networks_.text_rec, rectified, plate_roi, inputs_.ocr_chars, case_dir);
    if (kana.empty()) return;
    fields.kana = kana;
    fields.final_plate_number = assemble_plate_number(fields);
  }

  const Args& args_;
  const Inputs& inputs_;
  Networks& networks_;
  RknnModel* plate_det_;  // null: the whole image is the plate
};

void log_banner(std::size_t index, std::size_t total, const CaseItem& item) {
  log_line("========== CASE " + std::to_string(index + 1) + "/" + std::to_string(total) + ": " +
           item.image_path + " group=" + item.group_id + " ==========");
}

}  // namespace

int run_batch(const Args& args) {
  const bool use_plate_det = check_files_and_decide_use_plate_det(args);
  ensure_dir(args.output_dir);
  ensure_dir(args.output_dir + "/cases");
  Inputs inputs = read_inputs(args);
  log_start(args, use_plate_det, inputs);
  Networks networks;
  load_networks(args, use_plate_det, networks);
  align_dict_with_rec_classes(networks.text_rec, inputs.ocr_chars);

  FrameSummary frame_summary(args.output_dir + "/frame_summary.csv");
  CaseReader case_reader(args, inputs, networks, use_plate_det);
  std::vector<FrameResult> frames;
  StatusCounts frame_counts;
  for (std::size_t i = 0; i < inputs.cases.size(); ++i) {
    const CaseItem& item = inputs.cases[i];
    const std::string case_dir = args.output_dir + "/cases/" + basename_no_ext(item.image_path);
    ensure_dir(case_dir);
    log_banner(i, inputs.cases.size(), item);
    frames.push_back(case_reader.read(item, case_dir));
    const FrameReport report = make_frame_report(frames.back());
    frame_counts.add(report.status);
    write_result_txt(report, case_dir);
    write_result_json(report, case_dir);
    frame_summary.add_row(report);
  }
  return report_run({args, use_plate_det, std::move(frames), frame_counts});
}

}  // namespace kavrel
