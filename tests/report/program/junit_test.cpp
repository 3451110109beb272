#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/report/output_dir.h"
#include "tests/report/report_program.h"

namespace kavrel_test {
namespace {

using testing::HasSubstr;

std::string junit_of(const std::vector<FrameResult>& frames) {
  const OutputDir dir;
  dir.write_finished(frames);
  const ProgramOutcome outcome = run_report({"junit", dir.path(), "-o", "-"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return outcome.out;
}

// What is wrong with the document by the schema that build servers share; "" if nothing.
std::string complaint_of(const std::string& document) {
  const TempDir dir;
  const ProgramOutcome outcome = run_program(
      {"xmllint", "--noout", "--schema", JUNIT_SCHEMA, dir.write("junit.xml", document)});
  if (outcome.status == 127) return "xmllint is not installed";
  return outcome.status == 0 ? "" : outcome.err;
}

#define SKIP_WITHOUT_XMLLINT()                             \
  if (run_program({"xmllint", "--version"}).status == 127) \
  GTEST_SKIP() << "xmllint is not installed"

TEST(Junit, HasATestCaseAGroup) {
  const std::string document = junit_of(small_run());
  EXPECT_THAT(document, HasSubstr("tests=\"5\" failures=\"3\" errors=\"0\" skipped=\"1\""));
  EXPECT_THAT(document,
              HasSubstr("<testcase classname=\"kavrel.groups\" name=\"a\" time=\"0\" />"));
  EXPECT_THAT(document, HasSubstr("<skipped message=\"no expected text\" />"));
}

TEST(Junit, TellsExpectedAndRead) {
  const std::string document = junit_of(small_run());
  EXPECT_THAT(document,
              HasSubstr("<failure message=\"expected 横浜 500 さ 56-78, read 横浜 500 き 56-78\" "
                        "type=\"misread\">kana misread: expected さ, read き\n"
                        "in/b1.jpg: 横浜 500 き 56-78\nin/b2.jpg: 横浜 500 き 56-78\n</failure>"));
  EXPECT_THAT(document, HasSubstr("<failure message=\"expected なにわ 480 う 90-12, read nothing\" "
                                  "type=\"not read\">"));
}

TEST(Junit, IsValid) {
  SKIP_WITHOUT_XMLLINT();
  EXPECT_EQ(complaint_of(junit_of(small_run())), "");
  EXPECT_EQ(complaint_of(junit_of({})), "");
  EXPECT_NE(complaint_of("<testsuites><testsuite/></testsuites>"), "");
}

TEST(Junit, IsValidForAnyBytes) {
  SKIP_WITHOUT_XMLLINT();
  const std::string bytes = "<&\"'>]]>\x01\x1B\n\xFF\xEF\xBF\xBE --";
  EXPECT_EQ(complaint_of(junit_of({{bytes, bytes, bytes, {"", "", "", "", bytes}, {}}})), "");
}

TEST(Junit, HasAUniqueNameForEachGroup) {
  const auto of_group = [](const std::string& group) {
    return FrameResult{"a.jpg", "", group, {}, {}};
  };
  const std::string document = junit_of({of_group("\xFE"), of_group("\xFF"), of_group("a")});
  EXPECT_THAT(document, HasSubstr("name=\"\uFFFD\""));
  EXPECT_THAT(document, HasSubstr("name=\"\uFFFD (2)\""));
}

TEST(Junit, IsTheSameEachTime) {
  const OutputDir dir;
  dir.write_finished(small_run());
  EXPECT_EQ(run_report({"junit", dir.path(), "-o", "-"}).out,
            run_report({"junit", dir.path(), "-o", "-"}).out);
}

TEST(Junit, IsNeverGreenForARunThatWasAborted) {
  SKIP_WITHOUT_XMLLINT();
  const OutputDir dir;
  dir.write_aborted(small_run());
  const std::string document = run_report({"junit", dir.path(), "-o", "-"}).out;
  EXPECT_THAT(document, HasSubstr("<system-err>summary.csv is missing: the run did not finish"));
  EXPECT_THAT(document, HasSubstr("tests=\"7\" failures=\"3\" errors=\"2\" skipped=\"1\""));
  EXPECT_THAT(document,
              HasSubstr("<error message=\"summary.csv is missing: the run did not finish"));
  EXPECT_EQ(complaint_of(document), "");
}

}  // namespace
}  // namespace kavrel_test
