#include "report/text/json_parts.h"

#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

Json text_or_null(const std::string& text) { return text.empty() ? Json() : Json(printable(text)); }

Json number_or_null(int number) { return number < 0 ? Json() : Json(number); }

Json json_of(const LoggedFile& file) {
  return {{"path", printable(file.path)}, {"sha256", text_or_null(file.sha256)}};
}

Json json_of(const std::vector<std::string>& texts) {
  Json json = Json::array();
  for (const std::string& text : texts) json.push_back(printable(text));
  return json;
}

Json json_of(const RunLog& log) {
  Json files = Json::object();
  for (const LoggedFile& file : log.files) files[file.option] = json_of(file);
  return {{"command", text_or_null(log.command)},
          {"files", files},
          {"networks", json_of(log.networks)},
          {"runtime", log.runtime.path.empty() ? Json() : json_of(log.runtime)},
          {"machine", text_or_null(log.machine)},
          {"started", text_or_null(log.started)},
          {"seconds", number_or_null(log.seconds)},
          {"status", number_or_null(log.status)},
          {"cases", number_or_null(log.cases)},
          {"cases_begun", log.begun},
          {"errors", json_of(log.errors)},
          {"warnings", json_of(log.warnings)}};
}

}  // namespace

Json json_of(const OutcomeCounts& counts) {
  Json json = {{"correct", counts.correct},
               {"misread", counts.misread},
               {"not_read", counts.not_read},
               {"accuracy", nullptr}};
  if (const auto interval = wilson_interval(counts.share())) {
    json["accuracy"] = {
        {"value", interval->value}, {"low", interval->low}, {"high", interval->high}};
  }
  return json;
}

Json json_of(const Slices& slices) {
  Json json = Json::array();
  for (const Slice& slice : slices.columns) {
    for (const SliceValue& value : slice.values) {
      json.push_back({{"column", printable(slice.column)},
                      {"value", printable(value.value)},
                      {"groups", json_of(value.groups)},
                      {"frames", json_of(value.frames)}});
    }
  }
  return json;
}

Json json_of_run(const RecordedRun& run) {
  Json faults = Json::array();
  for (const Fault& fault : run.faults) {
    faults.push_back({{"fault", fault.key}, {"text", printable(fault.text)}});
  }
  return {{"faults", faults}, {"log", run.log ? json_of(*run.log) : Json()}};
}

}  // namespace kavrel::report
