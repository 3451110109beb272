#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

using testing::SizeIs;

// 40 x 20 pixels of equal magenta and yellow in four channels: cyan, magenta, yellow, black.
constexpr unsigned char kCmykJpeg[] = {
    0xff, 0xd8, 0xff, 0xee, 0x00, 0x0e, 0x41, 0x64, 0x6f, 0x62, 0x65, 0x00, 0x64, 0x00, 0x00, 0x00,
    0x00, 0x00, 0xff, 0xdb, 0x00, 0x43, 0x00, 0x10, 0x0b, 0x0c, 0x0e, 0x0c, 0x0a, 0x10, 0x0e, 0x0d,
    0x0e, 0x12, 0x11, 0x10, 0x13, 0x18, 0x28, 0x1a, 0x18, 0x16, 0x16, 0x18, 0x31, 0x23, 0x25, 0x1d,
    0x28, 0x3a, 0x33, 0x3d, 0x3c, 0x39, 0x33, 0x38, 0x37, 0x40, 0x48, 0x5c, 0x4e, 0x40, 0x44, 0x57,
    0x45, 0x37, 0x38, 0x50, 0x6d, 0x51, 0x57, 0x5f, 0x62, 0x67, 0x68, 0x67, 0x3e, 0x4d, 0x71, 0x79,
    0x70, 0x64, 0x78, 0x5c, 0x65, 0x67, 0x63, 0xff, 0xc0, 0x00, 0x14, 0x08, 0x00, 0x14, 0x00, 0x28,
    0x04, 0x43, 0x11, 0x00, 0x4d, 0x11, 0x00, 0x59, 0x11, 0x00, 0x4b, 0x11, 0x00, 0xff, 0xc4, 0x00,
    0x16, 0x00, 0x01, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x04, 0x07, 0xff, 0xc4, 0x00, 0x14, 0x10, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0xff, 0xda, 0x00, 0x0e, 0x04,
    0x43, 0x00, 0x4d, 0x00, 0x59, 0x00, 0x4b, 0x00, 0x00, 0x3f, 0x00, 0xd0, 0x17, 0x2e, 0x68, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x0f, 0xff, 0xd9};

std::string encoded(const std::string& extension, const cv::Mat& image) {
  std::vector<uchar> bytes;
  cv::imencode(extension, image, bytes);
  return {bytes.begin(), bytes.end()};
}

std::string big_endian(unsigned value, int bytes) {
  std::string text;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    text += static_cast<char>(value >> shift & 0xFF);
  }
  return text;
}

// The checksum of a PNG chunk.
unsigned crc32(const std::string& bytes) {
  unsigned crc = 0xFFFFFFFF;
  for (const char byte : bytes) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? 0xEDB88320 : 0);
  }
  return ~crc;
}

// Pictures of a few pixels that say that they are `side` pixels wide and high.
std::string png_that_claims(unsigned side) {
  std::string bytes = encoded(".png", noise_image(4, 4));
  const std::size_t header = bytes.find("IHDR");
  bytes.replace(header + 4, 8, big_endian(side, 4) + big_endian(side, 4));
  return bytes.replace(header + 17, 4, big_endian(crc32(bytes.substr(header, 17)), 4));
}

std::string jpeg_that_claims(unsigned side) {
  std::string bytes = encoded(".jpg", noise_image(8, 8));
  const std::size_t frame = bytes.find("\xFF\xC0");
  return bytes.replace(frame + 5, 4, big_endian(side, 2) + big_endian(side, 2));
}

// A JPEG file whose camera was turned: its pixels are to be shown rotated to the right.
std::string jpeg_of_a_turned_camera(const cv::Mat& image) {
  const std::string tiff("MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0", 26);
  const std::string exif = std::string("Exif\0\0", 6) + tiff;
  const std::string segment =
      "\xFF\xE1" + big_endian(static_cast<unsigned>(exif.size()) + 2, 2) + exif;
  return encoded(".jpg", image).insert(2, segment);
}

// One case whose image file holds these bytes.
class ImageFile : public ProgramTest {
 protected:
  Outcome run_on(const std::string& bytes, const std::string& name = "a.png") {
    write(name, bytes);
    write(kCaseList, name + "\n");
    return run();
  }

  void expect_seen_as(const std::string& bytes, const cv::Mat& image) {
    const Outcome outcome = run_on(bytes);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(shows(kCases + "/a/plate_roi.jpg", image));
    EXPECT_EQ(lines_of(read(kOutput + "/frame_summary.csv")).size(), 2U);
  }

  // What OpenCV makes of a damaged file is its own matter, but the run ends in one of two ways.
  void expect_finished_or_refused(const Outcome& outcome) const {
    const std::size_t errors = lines_with(outcome.err, "[ERROR] ").size();
    EXPECT_EQ(errors, outcome.status == 0 ? 0U : 1U) << outcome.err;
    EXPECT_EQ(outcome.status, exists(kCases + "/a/result.txt") ? 0 : 1) << outcome.err;
    EXPECT_EQ(exists(kOutput + "/FINAL_RESULT.json"), outcome.status == 0);
  }

  // By OpenCV, whose words differ from version to version.
  void expect_refused(const Outcome& outcome) const {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(lines_with(outcome.err, "[ERROR] "), SizeIs(1));
    expect_finished_or_refused(outcome);
  }
};

TEST_F(ImageFile, MayBeOnePixelWideOrHigh) {
  for (const cv::Size& size : {cv::Size(1, 1), cv::Size(1, 300), cv::Size(300, 1)}) {
    SCOPED_TRACE(size);
    const cv::Mat image = noise_image(size.width, size.height);
    expect_seen_as(encoded(".png", image), image);
  }
}

TEST_F(ImageFile, IsReadWithEightBitsOfSixteen) {
  const cv::Mat image = noise_image(40, 20);
  cv::Mat deep;
  image.convertTo(deep, CV_16U, 257);
  expect_seen_as(encoded(".png", deep), image);
}

TEST_F(ImageFile, IsReadInColourFromFourInks) {
  const std::string bytes(std::begin(kCmykJpeg), std::end(kCmykJpeg));
  const cv::Mat image = decoded(bytes);
  ASSERT_EQ(image.size(), cv::Size(40, 20));
  EXPECT_LT(cv::norm(cv::mean(image), cv::Scalar(157, 157, 255)), 6.0);
  expect_seen_as(bytes, image);
}

TEST_F(ImageFile, IsTurnedAsItsCameraWas) {
  const cv::Mat image = noise_image(40, 20);
  cv::Mat upright;
  cv::rotate(decoded(encoded(".jpg", image)), upright, cv::ROTATE_90_CLOCKWISE);
  expect_seen_as(jpeg_of_a_turned_camera(image), upright);
}

TEST_F(ImageFile, MayEndTooEarly) {
  for (const std::string extension : {".png", ".jpg", ".bmp"}) {
    const std::string whole = encoded(extension, noise_image(200, 100));
    for (const std::size_t length :
         {whole.size() - 1, whole.size() / 2, std::size_t{60}, std::size_t{9}}) {
      SCOPED_TRACE(extension + " cut to " + std::to_string(length));
      remove(kOutput);
      expect_finished_or_refused(run_on(whole.substr(0, length)));
    }
  }
}

TEST_F(ImageFile, IsRefusedWhenItIsNone) {
  EXPECT_THAT(run_on(""), FailsWith("failed to read image: a.png"));
  EXPECT_THAT(run_on("this is no picture", "a.jpg"), FailsWith("failed to read image: a.jpg"));
  EXPECT_THAT(run_on("\xFF\xD8\xFF", "a.jpg"), FailsWith("failed to read image: a.jpg"));
  make_directory("folder.jpg");
  write(kCaseList, "folder.jpg\n");
  EXPECT_THAT(run(), FailsWith("failed to read image: folder.jpg"));
}

TEST_F(ImageFile, IsRefusedInOneLineWhenItIsNotThere) {
  write(kCaseList, "gone.png\n");
  EXPECT_EQ(run().err, start_up_lines("roi", 1) +
                           "========== CASE 1/1: gone.png group=gone ==========\n"
                           "[ERROR] failed to read image: gone.png\n");
}

// OpenCV's warp counts pixels in 16 bits.
TEST_F(ImageFile, IsRefusedWhenItIsTooLongToBeRectified) {
  for (const cv::Size& size : {cv::Size(65000, 1), cv::Size(1, 65000)}) {
    SCOPED_TRACE(size);
    expect_refused(run_on(encoded(".png", noise_image(size.width, size.height))));
  }
}

TEST_F(ImageFile, IsRefusedWhenItClaimsToBeHuge) {
  for (const std::string& bytes : {png_that_claims(60000), jpeg_that_claims(60000)}) {
    ASSERT_LT(bytes.size(), 1000U);
    expect_refused(run_on(bytes));
  }
}

// That the claims above are refused for what they claim, and for nothing else.
TEST_F(ImageFile, IsReadWhenItClaimsItsOwnSize) {
  expect_seen_as(png_that_claims(4), noise_image(4, 4));
  expect_seen_as(jpeg_that_claims(8), decoded(encoded(".jpg", noise_image(8, 8))));
}

}  // namespace
}  // namespace kavrel_test
