#include "shard/result.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "app/base/output_format.h"
#include "shard/storage.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

Json json_of(const Result& result) {
  Json json;
  json["plan"] = result.plan;
  json["shard"] = result.shard;
  json["list_sha256"] = result.list_sha256;
  json["version"] = result.version;
  json["kavrel_sha256"] = result.kavrel_sha256;
  json["runtime_sha256"] = result.runtime_sha256;
  json["options"] = Json::array();
  for (const std::string& option : result.options) json["options"].push_back(to_json_text(option));
  json["networks_and_dictionaries"] = Json::object();
  for (const auto& [name, hash] : result.file_hashes) {
    json["networks_and_dictionaries"][name] = hash;
  }
  json["host"] = to_json_text(result.host);
  json["started"] = result.started;
  json["ended"] = result.ended;
  json["exit_status"] = result.exit_status;
  json["error"] = to_json_text(result.error);
  if (result.failed_row) json["failed_row"] = *result.failed_row;
  json["unreadable_rows"] = result.unreadable_rows;
  json["files"] = Json::array();
  for (const ResultFile& file : result.files) {
    json["files"].push_back({to_json_text(file.name), file.size, file.sha256});
  }
  return json;
}

Result parsed_result(const Json& json) {
  Result result;
  result.plan = json.at("plan");
  result.shard = json.at("shard");
  result.list_sha256 = json.at("list_sha256");
  result.version = json.at("version");
  result.kavrel_sha256 = json.at("kavrel_sha256");
  result.runtime_sha256 = json.at("runtime_sha256");
  for (const Json& option : json.at("options")) result.options.push_back(from_json_text(option));
  result.file_hashes = json.at("networks_and_dictionaries").get<decltype(result.file_hashes)>();
  result.host = from_json_text(json.at("host"));
  result.started = json.at("started");
  result.ended = json.at("ended");
  result.exit_status = json.at("exit_status");
  result.error = from_json_text(json.at("error"));
  if (json.contains("failed_row")) result.failed_row = json.at("failed_row").get<std::size_t>();
  result.unreadable_rows = json.at("unreadable_rows").get<std::vector<std::size_t>>();
  for (const Json& file : json.at("files")) {
    result.files.push_back({from_json_text(file.at(0)), file.at(1), file.at(2)});
  }
  return result;
}

// "" if the result is one of this shard.
std::string foreign(const Plan& plan, std::size_t number, const Result& result) {
  if (result.plan != plan.id || result.shard != number) {
    return "it is of shard " + std::to_string(result.shard) + " of plan " + result.plan;
  }
  if (result.list_sha256 != plan.shards.at(number - 1).list_sha256) {
    return "it was run on another list";
  }
  if (result.options != plan.options) return "it was run with other options";
  for (const PlannedFile& file : plan.files) {
    const auto used = result.file_hashes.find(file.name);
    if (used == result.file_hashes.end() || used->second != file.sha256) {
      return "it was run with another --" + file.name;
    }
  }
  return "";
}

// "" if the folder holds these files and no other.
std::string damage(const Result& result, const std::string& dir, Look look) {
  std::vector<std::string> names = names_below(dir);
  std::size_t at = 0;
  for (const std::string& name : names) {
    if (name == output::kShardFile) continue;
    if (at == result.files.size() || name < result.files[at].name) return "it has a file " + name;
    const ResultFile& file = result.files[at++];
    if (name != file.name) return file.name + " is missing";
    const std::string path = dir + "/" + name;
    if (!fs::is_regular_file(fs::symlink_status(path))) return name + " is no file";
    if (fs::file_size(path) != file.size ||
        (look == Look::kAtBytes && sha256_of_file(path) != file.sha256)) {
      return name + " has other bytes";
    }
  }
  return at == result.files.size() ? "" : result.files[at].name + " is missing";
}

}  // namespace

void write_result(const Result& result, const std::string& dir) {
  write_whole(dir + "/" + output::kShardFile, json_of(result).dump(1) + "\n");
}

Verdict verify_result(const Plan& plan, std::size_t number, const std::string& dir, Look look) {
  Verdict verdict;
  if (!fs::exists(fs::symlink_status(dir))) return verdict;
  verdict.state = State::kSpoiled;
  try {
    verdict.result = parsed_result(Json::parse(text_of_file(dir + "/" + output::kShardFile)));
    verdict.reason = foreign(plan, number, verdict.result);
    if (verdict.reason.empty()) verdict.reason = damage(verdict.result, dir, look);
  } catch (const std::exception&) {
    verdict.reason =
        std::string(output::kShardFile) + " is missing or cut, or a file cannot be read";
  }
  if (!verdict.reason.empty()) return verdict;
  verdict.state = verdict.result.exit_status == 0 ? State::kDone : State::kFailed;
  verdict.reason = verdict.result.error;
  return verdict;
}

}  // namespace kavrel::shard
