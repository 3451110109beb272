#include "report/run/picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <opencv2/imgcodecs.hpp>
#include <vector>

#include "tests/report/report_program.h"
#include "tests/support/test_support.h"

namespace kavrel::report {
namespace {

using kavrel_test::TempDir;
using testing::StartsWith;

constexpr const char* kJpegAddress = "data:image/jpeg;base64,";

// The picture behind the address.
cv::Mat decoded_address(const std::string& address) {
  const std::string bytes =
      kavrel_test::from_base64(address.substr(std::string(kJpegAddress).size()));
  return cv::imdecode(std::vector<char>(bytes.begin(), bytes.end()), cv::IMREAD_COLOR);
}

TEST(Picture, IsEmbeddedAsItIsIfItIsSmall) {
  const TempDir dir;
  cv::imwrite(dir.path("a.jpg"), cv::Mat(96, 320, CV_8UC3, cv::Scalar(1, 2, 3)));
  const std::string address = picture_address(dir.path("a.jpg"), 320, 96);
  EXPECT_THAT(address, StartsWith(kJpegAddress));
  EXPECT_EQ(decoded_address(address).size(), cv::Size(320, 96));
}

TEST(Picture, IsMadeSmallerToFit) {
  const TempDir dir;
  cv::imwrite(dir.path("a.jpg"), cv::Mat(600, 800, CV_8UC3, cv::Scalar(1, 2, 3)));
  EXPECT_EQ(decoded_address(picture_address(dir.path("a.jpg"), 320, 200)).size(),
            cv::Size(267, 200));
}

TEST(Picture, OfAnyFormatBecomesJpeg) {
  const TempDir dir;
  cv::imwrite(dir.path("a.png"), cv::Mat(10, 20, CV_8UC3, cv::Scalar(1, 2, 3)));
  EXPECT_EQ(decoded_address(picture_address(dir.path("a.png"), 320, 200)).size(), cv::Size(20, 10));
}

TEST(Picture, IsNothingIfItIsMissingOrNoPicture) {
  const TempDir dir;
  EXPECT_EQ(picture_address(dir.path("none.jpg"), 320, 96), "");
  EXPECT_EQ(picture_address(dir.path(), 320, 96), "");
  EXPECT_EQ(picture_address(dir.write("empty.jpg", ""), 320, 96), "");
  EXPECT_EQ(picture_address(dir.write("text.jpg", "\xFF\xD8\xFF<script>"), 320, 96), "");
}

TEST(Picture, IsNotWaitedFor) {
  const TempDir dir;
  ASSERT_EQ(mkfifo(dir.path("pipe.jpg").c_str(), 0600), 0);
  EXPECT_EQ(picture_address(dir.path("pipe.jpg"), 320, 96), "");
}

}  // namespace
}  // namespace kavrel::report
