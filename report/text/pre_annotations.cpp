#include "report/text/pre_annotations.h"

#include <array>
#include <map>
#include <opencv2/imgproc.hpp>
#include <unordered_map>

#include "report/base/progress.h"
#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/text/json_parts.h"

namespace kavrel::report {
namespace {

constexpr const char* kPlate = "plate";
constexpr int kCategory = 1;

Json percents_of(const cv::Rect2f& box, const cv::Size& picture) {
  return {{"x", 100.0 * box.x / picture.width},
          {"y", 100.0 * box.y / picture.height},
          {"width", 100.0 * box.width / picture.width},
          {"height", 100.0 * box.height / picture.height},
          {"rotation", 0}};
}

// A region's parts have the same id.
Json result_of(const char* control, const char* type, const LocatedPlate& plate) {
  return {{"id", kPlate},
          {"from_name", control},
          {"to_name", "image"},
          {"type", type},
          {"original_width", plate.picture.width},
          {"original_height", plate.picture.height},
          {"image_rotation", 0},
          {"value", percents_of(*plate.box, plate.picture)}};
}

Json predictions_of(const PreAnnotation& plate) {
  if (!plate.plate || !plate.plate->box) return Json::array();
  Json rectangle = result_of(kPlate, "rectanglelabels", *plate.plate);
  rectangle["value"]["rectanglelabels"] = {kPlate};
  Json results = Json::array({rectangle});
  if (!plate.text.empty()) {
    Json text = result_of("text", "textarea", *plate.plate);
    text["value"]["text"] = {bytes_as_text(plate.text)};
    results.push_back(text);
  }
  return Json::array(
      {{{"model_version", std::string("kavrel ") + resources::kVersion}, {"result", results}}});
}

Corners corners_of(const LocatedPlate& plate) {
  if (plate.corners) return *plate.corners;
  const cv::Point2f first = plate.box->tl();
  const cv::Point2f last = plate.box->br();
  return {first, cv::Point2f(last.x, first.y), last, cv::Point2f(first.x, last.y)};
}

Json coco_annotation(const PreAnnotation& plate, std::size_t image) {
  const cv::Rect2f& box = *plate.plate->box;
  const Corners corners = corners_of(*plate.plate);
  Json polygon = Json::array();
  for (const cv::Point2f& corner : corners) {
    polygon.push_back(corner.x);
    polygon.push_back(corner.y);
  }
  return {{"id", image},
          {"image_id", image},
          {"category_id", kCategory},
          {"bbox", {box.x, box.y, box.width, box.height}},
          {"segmentation", Json::array({polygon})},
          {"area", cv::contourArea(std::vector<cv::Point2f>(corners.begin(), corners.end()))},
          {"iscrowd", 0},
          {"attributes", {{"text", bytes_as_text(plate.text)}}}};
}

std::unordered_map<std::string, std::size_t> frames_by_path(const RecordedRun& run) {
  std::unordered_map<std::string, std::size_t> frames;
  for (std::size_t i = 0; i < run.frames.size(); ++i) frames.emplace(run.frames[i].image_path, i);
  return frames;
}

// What was voted for each frame's group.
std::vector<const std::string*> votes_of_frames(const RecordedRun& run) {
  std::vector<const std::string*> votes(run.frames.size(), nullptr);
  for (const Group& group : run.groups) {
    for (const std::size_t i : group.frames) votes[i] = &group.result.fields.final_plate_number;
  }
  return votes;
}

}  // namespace

std::vector<PreAnnotation> pre_annotations(const RecordedRun& run, const ListRows& list) {
  const auto frames = frames_by_path(run);
  const auto votes = votes_of_frames(run);
  std::vector<PreAnnotation> plates;
  Progress progress("pictures", list.rows.size());
  for (const ListCells& row : list.rows) {
    progress.step();
    const CaseItem item = case_of_row(row, list.columns);
    const auto frame = frames.find(item.image_path);
    if (frame == frames.end()) continue;
    const std::size_t i = frame->second;
    plates.push_back({item.image_path, run.frames[i].group_id,
                      item.expected.empty() ? *votes[i] : item.expected, locate_plate(run, i)});
  }
  return plates;
}

void write_label_studio(const std::vector<PreAnnotation>& plates, const std::string& image_prefix,
                        std::ostream& out) {
  Json tasks = Json::array();
  for (const PreAnnotation& plate : plates) {
    tasks.push_back({{"data",
                      {{"image", bytes_as_text(image_prefix + plate.image_path)},
                       {"image_path", bytes_as_text(plate.image_path)},
                       {"group_id", bytes_as_text(plate.group_id)}}},
                     {"predictions", predictions_of(plate)}});
  }
  out << tasks.dump(1) << '\n';
}

void write_coco(const std::vector<PreAnnotation>& plates, std::ostream& out) {
  Json images = Json::array();
  Json annotations = Json::array();
  for (const PreAnnotation& plate : plates) {
    if (!plate.plate) continue;
    const std::size_t id = images.size() + 1;
    images.push_back({{"id", id},
                      {"file_name", bytes_as_text(plate.image_path)},
                      {"width", plate.plate->picture.width},
                      {"height", plate.plate->picture.height}});
    if (plate.plate->box) annotations.push_back(coco_annotation(plate, id));
  }
  const Json coco = {
      {"info", {{"description", std::string("pre-annotations of kavrel ") + resources::kVersion}}},
      {"licenses", Json::array()},
      {"images", images},
      {"annotations", annotations},
      {"categories", {{{"id", kCategory}, {"name", kPlate}, {"supercategory", ""}}}}};
  out << coco.dump(1) << '\n';
}

void write_boxes_csv(const std::vector<PreAnnotation>& plates, const ListRows& list,
                     std::ostream& out) {
  std::unordered_map<std::string, const PreAnnotation*> by_path;
  for (const PreAnnotation& plate : plates) by_path.emplace(plate.image_path, &plate);
  ListRows filled = list;
  const std::size_t width = list.header.size();
  for (const char* name : {"box_left", "box_top", "box_right", "box_bottom"}) {
    filled.header.emplace_back(name);
  }
  for (ListCells& row : filled.rows) {
    row.resize(width);
    row.resize(filled.header.size());
    const auto found = by_path.find(case_of_row(row, list.columns).image_path);
    if (found == by_path.end()) continue;
    const PreAnnotation& plate = *found->second;
    row[list.columns.expected] = plate.text;
    if (!plate.plate || !plate.plate->box) continue;
    const cv::Rect box = *plate.plate->box;
    const std::array<int, 4> sides = {box.x, box.y, box.br().x, box.br().y};
    for (std::size_t i = 0; i < sides.size(); ++i) row[width + i] = std::to_string(sides[i]);
  }
  out << rows_text(filled);
}

}  // namespace kavrel::report
