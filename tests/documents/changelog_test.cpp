// The version is stated once, in CMakeLists.txt; the changelog must tell of it.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/temp_dir.h"

namespace kavrel_test {
namespace {

TEST(Changelog, ItsNewestReleaseIsThisVersion) {
  for (const std::string& line : lines_of(read_file(KAVREL_SOURCE_DIR "/CHANGELOG.md"))) {
    if (line.rfind("## ", 0) != 0 || line == "## Unreleased") continue;
    EXPECT_EQ(line.substr(3, line.find(',') - 3), KAVREL_VERSION);
    return;
  }
  FAIL() << "no release in it";
}

}  // namespace
}  // namespace kavrel_test
