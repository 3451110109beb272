#include "report/run/truth.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/test_support.h"

namespace kavrel::report {
namespace {

using kavrel_test::TempDir;

constexpr const char* kFile = R"([
  {"image_path": "in/a.jpg", "box": [1, 2, 11, 7], "corners": [[1, 2], [11, 2], [11, 7], [1, 7]]},
  {"image_path": "in/b.jpg", "box": [0, 0, 1, 1], "corners": [[0, 0], [1, 0], [1, 1], [0, 1]]},
  {"image_path": "of/b.jpg", "box": [0, 0, 2, 2], "corners": [[0, 0], [2, 0], [2, 2], [0, 2]]}])";

const TruePlace* find(const Truth& truth, const std::string& image_path) {
  FrameResult frame;
  frame.image_path = image_path;
  return truth.find(frame);
}

TEST(Truth, HasThePlaceOfAFrame) {
  const TempDir dir;
  const Truth truth = read_truth(dir.write("truth.json", kFile));
  const TruePlace* place = find(truth, "in/a.jpg");
  ASSERT_NE(place, nullptr);
  EXPECT_EQ(place->box, cv::Rect2f(1, 2, 10, 5));
  EXPECT_EQ(place->corners[2], cv::Point2f(11, 7));
}

TEST(Truth, FindsAFrameInAnotherFolder) {
  const TempDir dir;
  const Truth truth = read_truth(dir.write("truth.json", kFile));
  EXPECT_EQ(find(truth, "/board/a.png"), find(truth, "in/a.jpg"));
  EXPECT_EQ(find(truth, "/board/b.png"), nullptr);  // which of the two?
  EXPECT_NE(find(truth, "of/b.jpg"), find(truth, "in/b.jpg"));
  EXPECT_EQ(find(truth, "in/c.jpg"), nullptr);
}

TEST(Truth, NamesTheFileThatIsNone) {
  const TempDir dir;
  const auto message_of = [](const std::string& path) {
    try {
      read_truth(path);
    } catch (const std::runtime_error& error) {
      return std::string(error.what());
    }
    return std::string("none");
  };
  EXPECT_EQ(message_of("/none.json"), "failed to read: /none.json");
  for (const char* text : {"", "[", "[1]", R"([{"image_path": "a"}])",
                           R"([{"image_path": "a", "box": [1, 2], "corners": []}])"}) {
    EXPECT_THAT(message_of(dir.write("truth.json", text)),
                testing::HasSubstr("no places of plates in " + dir.path("truth.json")))
        << text;
  }
  const std::string corners = R"(, "corners": [[1, 2], [11, 2], [11, 7], [1, 7]]}])";
  for (const char* box : {"[1, 2, 1, 7]", "[1, 2, 11, 2]", "[11, 2, 1, 7]"}) {
    const std::string text = R"([{"image_path": "a.jpg", "box": )" + std::string(box) + corners;
    EXPECT_EQ(message_of(dir.write("truth.json", text)),
              "an empty place in " + dir.path("truth.json") + ": a.jpg");
  }
}

}  // namespace
}  // namespace kavrel::report
