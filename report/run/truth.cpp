#include "report/run/truth.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "app/base/text.h"

namespace kavrel::report {
namespace {

using nlohmann::json;

cv::Point2f point_of(const json& point) {
  return {point.at(0).get<float>(), point.at(1).get<float>()};
}

// Shares and widths of it are measured.
bool is_empty(const TruePlace& place) {
  const auto& [top_left, top_right, bottom_right, bottom_left] = place.corners;
  return place.box.empty() || (top_left == top_right && bottom_left == bottom_right);
}

TruePlace place_of(const json& plate) {
  const json& box = plate.at("box");
  const auto left = box.at(0).get<float>();
  const auto top = box.at(1).get<float>();
  TruePlace place{{left, top, box.at(2).get<float>() - left, box.at(3).get<float>() - top}, {}};
  for (std::size_t i = 0; i < place.corners.size(); ++i) {
    place.corners[i] = point_of(plate.at("corners").at(i));
  }
  return place;
}

}  // namespace

void Truth::add(const std::string& image_path, const TruePlace& place) {
  const auto [entry, is_new] = places_.emplace(image_path, place);
  if (!is_new) return;
  const auto [named, is_first] = by_name_.emplace(basename_no_ext(image_path), &entry->second);
  if (!is_first) named->second = nullptr;
}

const TruePlace* Truth::find(const FrameResult& frame) const {
  const auto place = places_.find(frame.image_path);
  if (place != places_.end()) return &place->second;
  const auto named = by_name_.find(basename_no_ext(frame.image_path));
  return named == by_name_.end() ? nullptr : named->second;
}

Truth read_truth(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("failed to read: " + path);
  try {
    Truth truth;
    for (const json& plate : json::parse(file)) {
      const TruePlace place = place_of(plate);
      const std::string image_path = plate.at("image_path");
      if (is_empty(place)) {
        throw std::runtime_error("an empty place in " + path + ": " + image_path);
      }
      truth.add(image_path, place);
    }
    return truth;
  } catch (const json::exception& error) {
    throw std::runtime_error("no places of plates in " + path + ": " + error.what());
  }
}

}  // namespace kavrel::report
