// The texts of the pages in English and Japanese.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "report/assessment/cause.h"
#include "report/assessment/judgement.h"
#include "report/base/fields.h"
#include "report/base/resources.h"
#include "tests/support/test_support.h"

namespace kavrel::report {
namespace {

const std::string kSource = KAVREL_SOURCE_DIR "/report/";

std::set<std::string> english() {
  std::set<std::string> texts;
  for (const auto& text : nlohmann::json::parse(resources::kReportTexts)) texts.insert(text["en"]);
  return texts;
}

std::string placeholders(const std::string& text) {
  const std::regex placeholder("\\{\\w\\}");
  std::set<std::string> found(std::sregex_token_iterator(text.begin(), text.end(), placeholder),
                              {});
  std::string all;
  for (const std::string& one : found) all += one;
  return all;
}

bool is_part_of_one(const std::string& piece, const std::set<std::string>& texts) {
  return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
    return text.find(piece) != std::string::npos;
  });
}

std::string without(const std::string& text, const char* what, const char* instead = "\n") {
  return std::regex_replace(text, std::regex(what), instead);
}

// What stands between tags of HTML and of the template, and in attributes that are read out.
std::string texts_of_template(const std::string& page) {
  const std::string spoken = without(page, "(?:alt|aria-label|placeholder)=\"([^\"]*)\"", ">$1<");
  return without(without(without(spoken, "\\{\\{\\{?[^}]*\\}\\}\\}?"), "<[^>]*>"), "&#?\\w+;");
}

// Sentences that are put together for a page: literals of several words, those side by side as one.
std::string texts_of_source(const std::string& source) {
  std::string code = without(source, "#include[^\n]*|//[^\n]*|throw [^;]*;|Progress [^;]*;", "");
  code = without(code, "\"\\s*\n\\s*\"", "");
  std::string texts;
  const std::regex literal("\"((?:[^\"\\\\\n]|\\\\.)*)\"");
  for (std::sregex_iterator found(code.begin(), code.end(), literal), end; found != end; ++found) {
    const std::string text = std::regex_replace((*found)[1].str(), std::regex(R"(\\")"), "\"");
    const bool is_sentence = std::regex_search(text, std::regex("[a-z]{2,} [a-z]{2,}"));
    const bool is_other = std::regex_search(text, std::regex("<|^kavrel: "));  // HTML, a title
    if (is_sentence && !is_other) texts += text + "\n";
  }
  return texts;
}

void expect_all_known(const std::string& name, const std::string& pieces) {
  const std::set<std::string> texts = english();
  for (const std::string& line : kavrel_test::lines_of(pieces)) {
    const std::string piece = without(without(line, "^[\\s.,:;]+|[\\s.,:;]+$", ""), "\\s+", " ");
    if (!std::regex_search(piece, std::regex("[a-z]{2}"))) continue;
    EXPECT_TRUE(is_part_of_one(piece, texts)) << name << ": " << piece;
  }
}

TEST(ReportTexts, AreWholeInBothLanguages) {
  const auto texts = nlohmann::json::parse(resources::kReportTexts);
  EXPECT_EQ(english().size(), texts.size());
  for (const auto& text : texts) {
    const std::string en = text.value("en", "");
    const std::string ja = text.value("ja", "");
    EXPECT_NE(en, "");
    EXPECT_NE(ja, "") << en;
    EXPECT_EQ(placeholders(en), placeholders(ja)) << en;
    EXPECT_EQ((en + ja).find('<'), std::string::npos) << en;
  }
}

TEST(ReportTexts, HaveAllOfTheTemplates) {
  for (const auto& file : std::filesystem::directory_iterator(kSource + "html/page")) {
    const bool is_own = file.path().stem() == "label" || file.path().extension() != ".mustache";
    if (is_own) continue;
    expect_all_known(file.path().filename(),
                     texts_of_template(kavrel_test::read_file(file.path())));
  }
}

TEST(ReportTexts, HaveAllOfTheSentences) {
  for (const auto& file : std::filesystem::directory_iterator(kSource + "html")) {
    if (file.path().extension() != ".cpp") continue;
    expect_all_known(file.path().filename(), texts_of_source(kavrel_test::read_file(file.path())));
  }
  for (const char* name : {"run/run.cpp", "run/run_log.cpp", "assessment/slices.cpp",
                           "assessment/rereading.cpp", "assessment/compare.cpp"}) {
    expect_all_known(name, texts_of_source(kavrel_test::read_file(kSource + name)));
  }
}

TEST(ReportTexts, HaveAllCausesFieldsAndOutcomes) {
  std::set<std::string> texts = english();
  for (const CauseEntry& cause : kCauses) {
    for (const char* text : {cause.name, cause.stage, cause.advice}) {
      EXPECT_EQ(texts.count(text), 1U) << text;
    }
  }
  for (const Field& field : kFields) EXPECT_EQ(texts.count(field.name), 1U) << field.name;
  for (const Outcome outcome :
       {Outcome::kCorrect, Outcome::kMisread, Outcome::kNotRead, Outcome::kUnlabelled}) {
    EXPECT_EQ(texts.count(name_of(outcome)), 1U) << name_of(outcome);
  }
}

}  // namespace
}  // namespace kavrel::report
