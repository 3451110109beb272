#include "shard/job.h"

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "app/base/files.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

using Json = nlohmann::ordered_json;

bool is_utf8(const std::string& bytes) {
  try {
    Json(bytes).dump();
    return true;
  } catch (const Json::exception&) {
    return false;
  }
}

Json json_of(const Plan& plan) {
  Json json;
  json["job"] = to_json_text(plan.job);
  json["list"] = to_json_text(plan.list);
  json["list_sha256"] = plan.list_sha256;
  json["rows_sha256"] = plan.rows_sha256;
  json["directory"] = to_json_text(plan.directory);
  json["options"] = Json::array();
  for (const std::string& option : plan.options) json["options"].push_back(to_json_text(option));
  json["input_mode"] = plan.input_mode;
  json["use_plate_det"] = plan.use_plate_det;
  json["keep_pictures"] = plan.keep_pictures;
  for (const PlannedFile& file : plan.files) {
    json["files"].push_back(
        {{"name", file.name}, {"path", to_json_text(file.path)}, {"sha256", file.sha256}});
  }
  for (const PlannedShard& shard : plan.shards) {
    json["shards"].push_back(
        {{"rows", shard.rows}, {"groups", shard.groups}, {"list_sha256", shard.list_sha256}});
  }
  return json;
}

Plan plan_of(const Json& json) {
  Plan plan;
  plan.id = json.at("id");
  plan.job = from_json_text(json.at("job"));
  plan.list = from_json_text(json.at("list"));
  plan.list_sha256 = json.at("list_sha256");
  plan.rows_sha256 = json.at("rows_sha256");
  plan.directory = from_json_text(json.at("directory"));
  for (const Json& option : json.at("options")) plan.options.push_back(from_json_text(option));
  plan.input_mode = json.at("input_mode");
  plan.use_plate_det = json.at("use_plate_det");
  plan.keep_pictures = json.at("keep_pictures");
  for (const Json& file : json.at("files")) {
    plan.files.push_back({file.at("name"), from_json_text(file.at("path")), file.at("sha256")});
  }
  for (const Json& shard : json.at("shards")) {
    plan.shards.push_back({shard.at("rows"), shard.at("groups"), shard.at("list_sha256")});
  }
  return plan;
}

std::string place(const std::string& root, const char* folder, std::size_t number) {
  return root + "/" + folder + "/" + std::to_string(number);
}

}  // namespace

std::string host_name() {
  std::array<char, 256> name{};
  gethostname(name.data(), name.size() - 1);
  return name.data();
}

std::string shard_name(std::size_t number) { return "shard " + std::to_string(number); }

std::string list_of(const std::string& root, std::size_t number) {
  return place(root, kShards, number) + "/" + kListFile;
}

std::string pictures_of(const std::string& root, std::size_t number) {
  return place(root, kShards, number) + "/" + kPictures;
}

std::string start_of(const std::string& root, std::size_t number) {
  return place(root, kShards, number) + "/" + kStart;
}

std::string result_of(const std::string& root, std::size_t number) {
  return place(root, kResults, number);
}

std::string id_of(const Plan& plan) { return sha256_of(json_of(plan).dump()).substr(0, 16); }

void write_plan(const Plan& plan, const std::string& path) {
  Json json;
  json["id"] = plan.id;
  json.update(json_of(plan));
  write_whole(path, json.dump(1) + "\n");
}

Plan read_plan(const std::string& root) {
  const std::string path = root + "/" + kCommon + "/" + kPlanFile;
  if (!file_exists(path)) throw std::runtime_error("no job of kavrel-shard: " + root);
  try {
    Plan plan = plan_of(Json::parse(text_of_file(path)));
    if (plan.id != id_of(plan)) throw std::runtime_error("the plan was edited: " + path);
    return plan;
  } catch (const Json::exception& error) {
    throw std::runtime_error("no plan: " + path + ", " + error.what());
  }
}

std::string to_json_text(const std::string& bytes) {
  const bool utf8 = is_utf8(bytes);
  std::string text;
  for (const char byte : bytes) {
    const auto value = static_cast<unsigned char>(byte);
    if (byte == '%' || (value >= 0x80 && !utf8)) {
      text += '%';
      text += "0123456789ABCDEF"[value >> 4];
      text += "0123456789ABCDEF"[value & 15];
    } else {
      text += byte;
    }
  }
  return text;
}

std::string from_json_text(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      bytes += static_cast<char>(std::strtoul(text.substr(i + 1, 2).c_str(), nullptr, 16));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

}  // namespace kavrel::shard
