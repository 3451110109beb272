#include "app/batch_driver.h"

#include <memory>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "app/base/case_list.h"
#include "app/base/files.h"
#include "app/base/log.h"
#include "app/base/output_format.h"
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

struct Networks {
  std::unique_ptr<RknnModel> plate_det;  // null: every image is a plate already
  RknnModel plate_corner;
  RknnModel text_det;
  RknnModel text_rec;
};

// What a run reads before its first case.
struct Inputs {
  std::vector<std::string> region_words;
  std::vector<std::string> ocr_chars;
  std::vector<CaseItem> cases;
};

struct Run {
  const Args& args;
  Inputs inputs;
  Networks networks;
};

Inputs read_inputs(const Args& args) {
  Inputs inputs;
  inputs.region_words = read_trimmed_lines(args.dict_region);
  inputs.ocr_chars = read_trimmed_lines(args.ocr_dict);
  inputs.cases = read_input_list(args.input_list);
  return inputs;
}

void log_start(const Run& run) {
  const Inputs& inputs = run.inputs;
  log_line(std::string(logged::kInputMode) + run.args.input_mode);
  log_line(std::string(logged::kUsePlateDet) + (run.networks.plate_det ? "true" : "false"));
  log_line(std::string(logged::kCases) + std::to_string(inputs.cases.size()));
  log_line("[INFO] region_words=" + std::to_string(inputs.region_words.size()));
  log_line("[INFO] ocr_chars_loaded=" + std::to_string(inputs.ocr_chars.size()));
}

void load_networks(const Args& args, Networks& networks) {
  if (networks.plate_det) networks.plate_det->load(args.plate_det_model);
  networks.plate_corner.load(args.plate_corner_model);
  networks.text_det.load(args.ppocr_det_model);
  networks.text_rec.load(args.ppocr_rec_model);
}

void log_banner(std::size_t index, std::size_t total, const CaseItem& item) {
  log_line(std::string(logged::kCase) + std::to_string(index + 1) + "/" + std::to_string(total) +
           ": " + item.image_path + " group=" + item.group_id + " ==========");
}

cv::Mat read_image(const std::string& path) {
  cv::Mat image = cv::imread(path, cv::IMREAD_COLOR);
  if (image.empty()) throw std::runtime_error(kUnreadableImage + path);
  return image;
}

// All that comes before the first case, in an order that the log shows.
void start(Run& run) {
  if (check_files_and_decide_use_plate_det(run.args)) {
    run.networks.plate_det = std::make_unique<RknnModel>();
  }
  ensure_dir(run.args.output_dir);
  ensure_dir(run.args.output_dir + "/" + output::kCases);
  run.inputs = read_inputs(run.args);
  log_start(run);
  load_networks(run.args, run.networks);
  align_dict_with_rec_classes(run.networks.text_rec, run.inputs.ocr_chars);
}

// The story of one case, from its image to the fields of its plate.
FrameResult read_case(const CaseItem& item, const std::string& case_dir, Run& run) {
  auto& [args, inputs, networks] = run;
  const cv::Mat image = read_image(item.image_path);
  const cv::Mat crop = crop_plate(networks.plate_det.get(), image, args.plate_det_thresh, case_dir);
  const cv::Mat plate = rectify_plate(networks.plate_corner, crop, case_dir);
  std::vector<OcrText> texts = run_whole_plate_ocr_variants(networks.text_det, networks.text_rec,
                                                            plate, inputs.ocr_chars, case_dir);
  PlateFields fields = parse_jp_plate(texts, inputs.region_words);
  if (fields.kana.empty()) {
    fields.kana = run_kana_fallback(networks.text_rec, plate, crop, inputs.ocr_chars, case_dir);
    fields.final_plate_number = assemble_plate_number(fields);
  }
  return {item.image_path, item.expected, item.group_id, fields, std::move(texts)};
}

}  // namespace

int run_batch(const Args& args) {
  Run run{args, {}, {}};
  start(run);
  FrameSummary frame_summary(args.output_dir + "/" + output::kFrameSummary);
  std::vector<FrameResult> frames;
  StatusCounts frame_counts;
  const std::vector<CaseItem>& cases = run.inputs.cases;
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const CaseItem& item = cases[i];
    const std::string case_dir = output::case_dir(args.output_dir, item.image_path);
    ensure_dir(case_dir);
    log_banner(i, cases.size(), item);
    frames.push_back(read_case(item, case_dir, run));
    const FrameReport report = make_frame_report(frames.back());
    frame_counts.add(report.status);
    write_result_txt(report, case_dir);
    write_result_json(report, case_dir);
    frame_summary.add_row(report);
  }
  const bool used_plate_det = run.networks.plate_det != nullptr;
  return report_run({args, used_plate_det, std::move(frames), frame_counts});
}

}  // namespace kavrel
