#include "tests/report/json_schema.h"

#include <nlohmann/json.hpp>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "tests/support/temp_dir.h"

namespace kavrel_test {

std::string objections(const std::string& schema_file, const nlohmann::json& document) {
  const nlohmann::json schema_text = nlohmann::json::parse(read_file(schema_file));
  valijson::Schema schema;
  valijson::SchemaParser parser;
  parser.populateSchema(valijson::adapters::NlohmannJsonAdapter(schema_text), schema);
  valijson::Validator validator;
  valijson::ValidationResults results;
  validator.validate(schema, valijson::adapters::NlohmannJsonAdapter(document), &results);
  std::string text;
  for (valijson::ValidationResults::Error error; results.popError(error);) {
    for (const std::string& part : error.context) text += part;
    text += " " + error.description + "\n";
  }
  return text;
}

}  // namespace kavrel_test
