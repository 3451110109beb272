#include "app/base/output_format.h"

#include <utility>

#include "app/base/text.h"

namespace kavrel::output {

std::string case_name(const std::string& image_path) {
  const std::string name = basename_no_ext(image_path);
  return name.empty() ? "." : name;
}

std::string case_dir(const std::string& output_dir, const std::string& image_path) {
  return output_dir + "/" + kCases + "/" + basename_no_ext(image_path);
}

std::string csv_header(Columns columns) {
  return join_strings({columns.begin(), columns.end()}, ",");
}

std::string csv_line(Columns columns, const Row& row) {
  std::vector<std::string> cells;
  for (const char* column : columns) cells.push_back(csv_escape(row.at(column)));
  return join_strings(cells, ",");
}

Row make_row(Columns columns, const std::vector<std::string>& cells) {
  Row row;
  std::size_t i = 0;
  for (const char* column : columns) row.emplace(column, cells.at(i++));
  return row;
}

std::string result_txt(const Row& row) {
  std::string text;
  for (const char* key : kResultTxtKeys) text += std::string(key) + ": " + row.at(key) + '\n';
  return text;
}

std::string result_json(const Row& row) {
  std::vector<std::pair<std::string, std::string>> members;
  for (const char* key : kResultJsonKeys) members.emplace_back(key, json_string(row.at(key)));
  return json_object(members);
}

namespace source {

std::string of_window(const std::string& variant, const std::string& window) {
  return variant + "_" + window;
}

std::string of_text_line(const std::string& variant, int number) {
  return variant + "_" + kTextLine + std::to_string(number);
}

}  // namespace source

namespace picture {

std::string variant(const std::string& name) { return variant_stem(name) + ".jpg"; }

std::string variant_stem(const std::string& name) { return "ocr_variant_" + name; }

std::string text_line(const std::string& variant, int number) {
  return "ocr_" + variant + "_crop_" + std::to_string(number) + ".jpg";
}

std::string kana_candidate(const std::string& name) { return "kana_fallback_" + name + ".jpg"; }

}  // namespace picture

}  // namespace kavrel::output
