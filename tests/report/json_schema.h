// JSON held against a schema.
#ifndef KAVREL_TESTS_REPORT_JSON_SCHEMA_H
#define KAVREL_TESTS_REPORT_JSON_SCHEMA_H

#include <nlohmann/json_fwd.hpp>
#include <string>

namespace kavrel_test {

// What the schema of this file objects to, one line each; "" for a document that it allows.
std::string objections(const std::string& schema_file, const nlohmann::json& document);

}  // namespace kavrel_test

#endif
