#include "report/list/foreign_labels.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <unordered_map>

#include "app/base/text.h"
#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

using nlohmann::json;

// A text may have been typed in two lines, as it stands on a plate, and a list has one.
std::string in_one_line(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char byte) { return byte < ' '; }, ' ');
  return trim(text);
}

void add_text(const json& text, ForeignLabel& label) {
  const std::string line = in_one_line(text_as_bytes(text.get<std::string>()));
  const bool is_known =
      std::find(label.texts.begin(), label.texts.end(), line) != label.texts.end();
  if (!line.empty() && !is_known) label.texts.push_back(line);
}

// Those of the fields beside a region; a tool that allows one text alone saves no array.
void add_texts(const json& annotation, ForeignLabel& label) {
  for (const json& result : annotation.at("result")) {
    if (result.value("type", "") != "textarea") continue;
    const json& text = result.at("value").at("text");
    for (const json& part : text.is_array() ? text : json::array({text})) add_text(part, label);
  }
}

// Null if there is none but those that were cancelled.
const json* last_annotation(const json& task) {
  const json* last = nullptr;
  if (!task.contains("annotations")) return last;
  for (const json& annotation : task.at("annotations")) {
    if (!annotation.value("was_cancelled", false)) last = &annotation;
  }
  return last;
}

std::vector<ForeignLabel> labels_of_tasks(const json& tasks) {
  std::vector<ForeignLabel> labels;
  for (const json& task : tasks) {
    const json& data = task.at("data");
    ForeignLabel label{text_as_bytes(data.value("image_path", data.value("image", ""))), {}};
    const json* annotation = last_annotation(task);
    if (annotation == nullptr) continue;
    add_texts(*annotation, label);
    labels.push_back(std::move(label));
  }
  return labels;
}

std::vector<ForeignLabel> labels_of_coco(const json& coco) {
  std::vector<ForeignLabel> labels;
  std::map<json, std::size_t> places;
  std::map<json, std::string> names;
  for (const json& image : coco.at("images")) {
    names.emplace(image.at("id"), text_as_bytes(image.at("file_name").get<std::string>()));
  }
  for (const json& annotation : coco.at("annotations")) {
    const json& image = annotation.at("image_id");
    const auto [place, is_new] = places.emplace(image, labels.size());
    if (is_new) labels.push_back({names.at(image), {}});
    if (!annotation.contains("attributes")) continue;
    const json& attributes = annotation.at("attributes");
    if (attributes.contains("text")) add_text(attributes.at("text"), labels[place->second]);
  }
  return labels;
}

std::vector<ForeignLabel> labels_of_list(const std::string& path) {
  std::vector<ForeignLabel> labels;
  for (const CaseItem& item : read_input_list(path)) {
    if (!item.expected.empty()) labels.push_back({item.image_path, {item.expected}});
  }
  return labels;
}

std::string file_name(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// Rows by path, and by file name where one path alone has it.
class RowIndex {
 public:
  explicit RowIndex(const ListRows& list) {
    for (std::size_t i = 0; i < list.rows.size(); ++i) {
      const std::string path = case_of_row(list.rows[i], list.columns).image_path;
      by_path_[path].push_back(i);
    }
    for (const auto& [path, rows] : by_path_) {
      const auto [named, is_new] = by_name_.emplace(file_name(path), &rows);
      if (!is_new) named->second = nullptr;
    }
  }

  // Null without.
  const std::vector<std::size_t>* find(const std::string& path) const {
    const auto rows = by_path_.find(path);
    if (rows != by_path_.end()) return &rows->second;
    const auto named = by_name_.find(file_name(path));
    return named == by_name_.end() ? nullptr : named->second;
  }

 private:
  std::unordered_map<std::string, std::vector<std::size_t>> by_path_;
  std::unordered_map<std::string, const std::vector<std::size_t>*> by_name_;
};

}  // namespace

std::vector<ForeignLabel> read_foreign_labels(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("failed to read: " + path);
  char first = 0;
  file >> first;
  file.unget();
  if (first != '[' && first != '{') return labels_of_list(path);
  try {
    const json content = json::parse(file);
    return content.is_array() ? labels_of_tasks(content) : labels_of_coco(content);
  } catch (const std::exception& error) {
    throw std::runtime_error("no labels of Label Studio or COCO in " + path + ": " + error.what());
  }
}

std::vector<ListRemark> label_rows(const std::vector<ForeignLabel>& labels, ListRows& list) {
  const RowIndex index(list);
  std::vector<ListRemark> remarks = {{"not in the list", {}},
                                     {"several texts, so the row stays as it is", {}}};
  for (const ForeignLabel& label : labels) {
    const auto* rows = index.find(label.image_path);
    if (rows == nullptr) {
      remarks[0].names.push_back(label.image_path);
    } else if (label.texts.size() > 1) {
      remarks[1].names.push_back(label.image_path);
    } else {
      const std::string text = label.texts.empty() ? "" : label.texts.front();
      for (const std::size_t i : *rows) list.rows[i][list.columns.expected] = text;
    }
  }
  const auto says_nothing = [](const ListRemark& remark) { return remark.names.empty(); };
  remarks.erase(std::remove_if(remarks.begin(), remarks.end(), says_nothing), remarks.end());
  return remarks;
}

}  // namespace kavrel::report
