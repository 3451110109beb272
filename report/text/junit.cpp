#include "report/text/junit.h"

#include <pugixml.hpp>
#include <set>
#include <string>

#include "app/base/text.h"
#include "report/base/unicode.h"

namespace kavrel::report {
namespace {

void add_attribute(pugi::xml_node node, const char* name, const std::string& value) {
  node.append_attribute(name).set_value(value.c_str());
}

void add_text(pugi::xml_node node, const std::string& text) {
  node.append_child(pugi::node_pcdata).set_value(text.c_str());
}

std::string or_nothing(const std::string& text) { return text.empty() ? "nothing" : text; }

std::string details_of(const RecordedRun& run, const Group& group,
                       const PlateJudgement& judgement) {
  std::string text;
  for (std::size_t i = 0; judgement.fields && i < kFields.size(); ++i) {
    const FieldJudgement& field = (*judgement.fields)[i];
    if (field.outcome == Outcome::kCorrect) continue;
    text += std::string(kFields[i].key) + " " + name_of(field.outcome) + ": expected " +
            printable(field.expected) + ", read " + or_nothing(printable(field.read)) + "\n";
  }
  for (const std::size_t i : group.frames) {
    const FrameResult& frame = run.frames[i];
    text += printable(frame.image_path) + ": " +
            or_nothing(printable(frame.fields.final_plate_number)) + "\n";
  }
  return text;
}

void add_test_case(pugi::xml_node suite, const std::string& name, const RecordedRun& run,
                   const Group& group, const PlateJudgement& judgement) {
  pugi::xml_node test = suite.append_child("testcase");
  add_attribute(test, "classname", "kavrel.groups");
  add_attribute(test, "name", name);
  add_attribute(test, "time", "0");
  if (judgement.outcome == Outcome::kCorrect) return;
  if (judgement.outcome == Outcome::kUnlabelled) {
    add_attribute(test.append_child("skipped"), "message", "no expected text");
    return;
  }
  pugi::xml_node failure = test.append_child("failure");
  add_attribute(failure, "message",
                "expected " + printable(group.result.expected) + ", read " +
                    or_nothing(printable(group.result.fields.final_plate_number)));
  add_attribute(failure, "type", name_of(judgement.outcome));
  add_text(failure, details_of(run, group, judgement));
}

// Two group ids that differ in bytes that XML cannot hold get different names all the same.
std::string unique_name(const std::string& group_id, std::set<std::string>& names) {
  const std::string name = printable(group_id);
  std::string unique = name;
  for (int i = 2; !names.insert(unique).second; ++i) unique = name + " (" + std::to_string(i) + ")";
  return unique;
}

// A run that is not whole must not be green, however well its groups were read.
void add_faults(pugi::xml_node suite, const RecordedRun& run) {
  for (const Fault& fault : run.faults) {
    pugi::xml_node test = suite.append_child("testcase");
    add_attribute(test, "classname", "kavrel.run");
    add_attribute(test, "name", printable(fault.text));
    add_attribute(test, "time", "0");
    pugi::xml_node error = test.append_child("error");
    add_attribute(error, "message", printable(fault.text));
    add_attribute(error, "type", fault.key);
  }
}

void add_property(pugi::xml_node properties, const std::string& name, const std::string& value) {
  pugi::xml_node property = properties.append_child("property");
  add_attribute(property, "name", name);
  add_attribute(property, "value", printable(value));
}

// The schema wants every attribute; a run keeps neither the time of a case nor the machine's name.
void describe(pugi::xml_node suite, const RecordedRun& run, const Score& groups) {
  add_attribute(suite, "name", "kavrel");
  add_attribute(suite, "package", "kavrel");
  add_attribute(suite, "id", "0");
  add_attribute(suite, "timestamp", run.ended);
  add_attribute(suite, "hostname", "localhost");
  add_attribute(suite, "tests", std::to_string(run.groups.size() + run.faults.size()));
  add_attribute(suite, "failures", std::to_string(groups.plates.misread + groups.plates.not_read));
  add_attribute(suite, "errors", std::to_string(run.faults.size()));
  add_attribute(suite, "skipped", std::to_string(groups.unlabelled));
  add_attribute(suite, "time", "0");
  pugi::xml_node properties = suite.append_child("properties");
  add_property(properties, "output_dir", run.dir);
  for (const Fact& fact : facts_of(run.log)) add_property(properties, fact.name, fact.value);
}

}  // namespace

void write_junit(const RecordedRun& run, const Assessment& assessment, std::ostream& out) {
  pugi::xml_document document;
  pugi::xml_node suite = document.append_child("testsuites").append_child("testsuite");
  describe(suite, run, assessment.groups);
  add_faults(suite, run);
  std::set<std::string> names;
  for (std::size_t i = 0; i < run.groups.size(); ++i) {
    const Group& group = run.groups[i];
    add_test_case(suite, unique_name(group.result.group_id, names), run, group,
                  assessment.group_judgements[i]);
  }
  suite.append_child("system-out");
  add_text(suite.append_child("system-err"), join_strings(run.notices, "\n"));
  document.save(out, " ", pugi::format_default, pugi::encoding_utf8);
}

}  // namespace kavrel::report
