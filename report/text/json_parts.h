// Parts that several JSON files have.
#ifndef KAVREL_REPORT_TEXT_JSON_PARTS_H
#define KAVREL_REPORT_TEXT_JSON_PARTS_H

#include <nlohmann/json.hpp>

#include "report/assessment/score.h"
#include "report/assessment/slices.h"
#include "report/run/run.h"

namespace kavrel::report {

using Json = nlohmann::ordered_json;

Json json_of(const OutcomeCounts& counts);
Json json_of(const Slices& slices);

// What was run, as kavrel.log tells it, and why no verdict may rest on it.
Json json_of_run(const RecordedRun& run);

}  // namespace kavrel::report

#endif
