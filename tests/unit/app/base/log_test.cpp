#include "app/base/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iostream>
#include <streambuf>
#include <string>
#include <vector>

#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using testing::ElementsAre;

// Keeps the pieces in which it is written to.
class PieceBuffer : public std::streambuf {
 public:
  std::vector<std::string> pieces;

 private:
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    pieces.emplace_back(bytes, static_cast<std::size_t>(count));
    return count;
  }
  int_type overflow(int_type byte) override {
    pieces.emplace_back(1, traits_type::to_char_type(byte));
    return byte;
  }
};

TEST(LogLine, WritesTheLineToStandardErrorAlone) {
  const kavrel_test::Capture err;
  const kavrel_test::Capture out(std::cout);
  log_line("[INFO] 品川");
  EXPECT_EQ(err.text(), "[INFO] 品川\n");
  EXPECT_EQ(out.text(), "");
}

// Another process that writes to the same terminal must not get in between.
TEST(LogLine, WritesTheLineAndItsEndInOnePiece) {
  PieceBuffer buffer;
  std::streambuf* const real = std::cerr.rdbuf(&buffer);
  log_line("one line");
  std::cerr.rdbuf(real);
  EXPECT_THAT(buffer.pieces, ElementsAre("one line\n"));
}

}  // namespace
}  // namespace kavrel
