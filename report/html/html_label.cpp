#include "report/html/html_label.h"

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "app/base/files.h"
#include "app/base/output_format.h"
#include "app/base/text.h"
#include "kana/kana_alphabet.h"
#include "report/assessment/doubt.h"
#include "report/base/progress.h"
#include "report/base/resources.h"
#include "report/base/unicode.h"
#include "report/html/html_page.h"
#include "report/list/label.h"
#include "report/run/picture.h"

namespace kavrel::report {
namespace {

using nlohmann::json;

constexpr std::size_t kOthersShown = 9;  // the digits that take them

// What is embedded of each frame, by how many frames there are.
struct PictureSizes {
  std::size_t most_frames;
  int plate_width;
  int plate_height;
  int crop_width;  // 0 without crops
  int crop_height;
};

constexpr std::array<PictureSizes, 3> kSizes = {{
    {2000, 320, 96, 320, 200},
    {6000, 320, 96, 0, 0},
    {SIZE_MAX, 200, 60, 0, 0},
}};

const PictureSizes& sizes_for(std::size_t frames) {
  std::size_t i = 0;
  while (frames > kSizes[i].most_frames) ++i;
  return kSizes[i];
}

// JSON in an element of a page: the one place where texts of a run are escaped. Without "<" nothing
// in it ends the element or begins another.
std::string embedded(const json& value) {
  std::string text;
  for (const char byte : value.dump()) {
    if (byte == '<') {
      text += "\\u003c";
    } else {
      text += byte;
    }
  }
  return text;
}

json texts_of(const PlateFields& fields) {
  json texts = json::array();
  for (const Field& field : kFields) texts.push_back(printable(fields.*field.value));
  return texts;
}

json list_view(const ListRows& list, const std::map<std::string, std::size_t>& vehicles) {
  json rows = json::array();
  json owners = json::array();
  for (const ListCells& row : list.rows) {
    json cells = json::array();
    for (const std::string& cell : row) cells.push_back(bytes_as_text(cell));
    rows.push_back(cells);
    const auto owner = vehicles.find(case_of_row(row, list.columns).image_path);
    owners.push_back(owner == vehicles.end() ? -1 : static_cast<int>(owner->second));
  }
  json header = json::array();
  for (const std::string& name : list.header) header.push_back(bytes_as_text(name));
  return {{"header", header},
          {"image", list.columns.image_path},
          {"expected", list.columns.expected},
          {"group", list.columns.group_id},
          {"rows", rows},
          {"vehicles", owners}};
}

json candidates_view(const FieldDoubt& field) {
  json values = json::array();
  for (const Candidate& candidate : field.candidates) {
    if (values.size() < kOthersShown) values.push_back(printable(candidate.value));
  }
  return values;
}

json others_view(const VehicleDoubt& doubt) {
  json others = json::array();
  for (const PlateFields& plate : doubt.others) {
    if (others.size() < kOthersShown) others.push_back(texts_of(plate));
  }
  return others;
}

json frame_view(const FrameResult& frame) {
  return {{"image", bytes_as_text(frame.image_path)},
          {"name", printable(case_name(frame))},
          {"read", printable(frame.fields.final_plate_number)}};
}

json vehicle_view(const RecordedRun& run, const Group& group, const std::string& given,
                  const std::vector<std::string>& region_words) {
  const VehicleDoubt doubt = doubt_of(run, group, region_words);
  json doubts = json::array();
  json candidates = json::array();
  for (const FieldDoubt& field : doubt.fields) {
    doubts.push_back(key_of(field.doubt));
    candidates.push_back(candidates_view(field));
  }
  json frames = json::array();
  for (const std::size_t i : group.frames) frames.push_back(frame_view(run.frames[i]));
  const Label label = read_label(given, region_words);
  return {{"group", bytes_as_text(group.result.group_id)},
          {"name", printable(group.result.group_id)},
          {"read", texts_of(group.result.fields)},
          {"given", printable(given)},
          {"givenFields", label.plate ? texts_of(*label.plate) : json()},
          {"doubts", doubts},
          {"candidates", candidates},
          {"weight", doubt.weight()},
          {"others", others_view(doubt)},
          {"frames", frames}};
}

json pictures_view(const RecordedRun& run, const Group& group, const PictureSizes& sizes) {
  json pictures = json::array();
  for (const std::size_t i : group.frames) {
    json picture = {{"plate", case_picture(run, i, output::picture::kRectifiedPlate,
                                           sizes.plate_width, sizes.plate_height)}};
    if (sizes.crop_width > 0) {
      picture["crop"] =
          case_picture(run, i, output::picture::kPlateCrop, sizes.crop_width, sizes.crop_height);
    }
    pictures.push_back(picture);
  }
  return pictures;
}

// [[name, how it is read], ...]; a region that the table does not have is read as it is written.
json regions_view(const std::vector<std::string>& region_words) {
  std::map<std::string, std::string> readings;
  std::istringstream lines(resources::kRegionReadings);
  for (std::string word, reading; lines >> word >> reading;) readings[word] = reading;
  json regions = json::array();
  for (const std::string& word : region_words) {
    const auto reading = readings.find(word);
    const std::string& read = reading == readings.end() ? word : reading->second;
    regions.push_back({printable(word), printable(read)});
  }
  return regions;
}

// Which vehicle a picture is of, and the first label that the list has of each.
struct ListedVehicles {
  std::map<std::string, std::size_t> of_image;
  std::map<std::size_t, std::string> given;
};

ListedVehicles find_vehicles(const RecordedRun& run, const ListRows& list) {
  ListedVehicles vehicles;
  for (std::size_t i = 0; i < run.groups.size(); ++i) {
    for (const std::size_t frame : run.groups[i].frames) {
      vehicles.of_image.emplace(run.frames[frame].image_path, i);
    }
  }
  for (const ListCells& row : list.rows) {
    const CaseItem item = case_of_row(row, list.columns);
    const auto owner = vehicles.of_image.find(item.image_path);
    if (owner == vehicles.of_image.end() || item.expected.empty()) continue;
    vehicles.given.emplace(owner->second, item.expected);
  }
  return vehicles;
}

// Tells one list's work in the browser's storage from another's.
std::string id_of(const ListRows& list) {
  std::size_t id = 0;
  for (const ListCells& row : list.rows) {
    const CaseItem item = case_of_row(row, list.columns);
    id = id * 31 + std::hash<std::string>()(item.image_path + '\n' + item.group_id);
  }
  std::ostringstream text;
  text << std::hex << id;
  return text.str();
}

View page_view(const json& data, const std::string& pictures) {
  View view;
  view.set("version", std::string(resources::kVersion));
  view.set("style", std::string(resources::kLabelStyle));
  view.set("style_hash", std::string(resources::kLabelStyleHash));
  view.set("romaji", std::string(resources::kRomajiScript));
  view.set("romaji_hash", std::string(resources::kRomajiScriptHash));
  view.set("script", std::string(resources::kLabelScript));
  view.set("script_hash", std::string(resources::kLabelScriptHash));
  view.set("texts", embedded(json::parse(resources::kLabelTexts)));
  view.set("data", embedded(data));
  view.set("pictures", pictures);
  return view;
}

}  // namespace

std::string render_label_page(const RecordedRun& run, const ListRows& rows,
                              const std::string& list_name,
                              const std::vector<std::string>& region_words) {
  if (run.frames.empty()) throw std::runtime_error("the run read no picture: " + run.dir);
  const ListedVehicles listed = find_vehicles(run, rows);
  const PictureSizes& sizes = sizes_for(run.frames.size());
  json vehicles = json::array();
  std::string pictures;
  Progress progress("vehicles", run.groups.size());
  for (std::size_t i = 0; i < run.groups.size(); ++i) {
    const auto given = listed.given.find(i);
    vehicles.push_back(vehicle_view(
        run, run.groups[i], given == listed.given.end() ? "" : given->second, region_words));
    pictures += "<script type=\"application/json\" class=\"pictures\">" +
                embedded(pictures_view(run, run.groups[i], sizes)) + "</script>\n";
    progress.step();
  }
  const json data = {{"id", id_of(rows)},
                     {"listName", printable(list_name)},
                     {"list", list_view(rows, listed.of_image)},
                     {"regions", regions_view(region_words)},
                     {"kana", std::vector<std::string>(kana_list.begin(), kana_list.end())},
                     {"vehicles", vehicles}};
  return Template(resources::kLabel).render(page_view(data, pictures));
}

}  // namespace kavrel::report
