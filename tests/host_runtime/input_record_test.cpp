// The pictures that the workstation runtime keeps.
#include "host_runtime/input_record.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "host_runtime/refusal.h"
#include "tests/support/temp_dir.h"

namespace host_runtime {
namespace {

using kavrel_test::TempDir;

// FNV-1a of the one byte 'a', as its authors publish it.
const std::string kHashOfA = "af63dc4c8601ec8c";

class InputRecordTest : public testing::Test {
 protected:
  InputRecordTest() { setenv("KAVREL_HOST_INPUTS", dir_.path("inputs").c_str(), 1); }
  ~InputRecordTest() override { unsetenv("KAVREL_HOST_INPUTS"); }
  InputRecordTest(const InputRecordTest&) = delete;
  InputRecordTest& operator=(const InputRecordTest&) = delete;

  // 4 wide, 2 high.
  static rknn_tensor_attr image(rknn_tensor_format layout = RKNN_TENSOR_NCHW) {
    rknn_tensor_attr attr{};
    attr.fmt = layout;
    attr.n_dims = 4;
    const bool planar = layout == RKNN_TENSOR_NCHW;
    attr.dims[0] = 1;
    attr.dims[1] = planar ? 3 : 2;
    attr.dims[2] = planar ? 2 : 4;
    attr.dims[3] = planar ? 4 : 3;
    attr.n_elems = 24;
    return attr;
  }

  std::vector<std::string> kept() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(dir_.path("inputs/" + kHashOfA))) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  const TempDir dir_;
  std::vector<std::uint8_t> pixels_ = std::vector<std::uint8_t>(24, 'x');
};

TEST_F(InputRecordTest, KeepsEveryPictureUnderTheNetworksHash) {
  for (const auto layout : {RKNN_TENSOR_NCHW, RKNN_TENSOR_NHWC}) {
    InputRecord record("a", 1);
    record.add(pixels_.data(), image(layout));
    record.add(pixels_.data(), image(layout));
    EXPECT_EQ(kept(), (std::vector<std::string>{"0.ppm", "1.ppm"}));
    EXPECT_EQ(dir_.read("inputs/" + kHashOfA + "/1.ppm"), "P6\n4 2\n255\n" + std::string(24, 'x'));
  }
}

TEST_F(InputRecordTest, KeepsPicturesFromAllOfALongRun) {
  InputRecord record("a", 1, 4 * 24);
  for (int i = 0; i < 15; ++i) record.add(pixels_.data(), image());
  EXPECT_EQ(kept(), (std::vector<std::string>{"0.ppm", "12.ppm", "4.ppm", "8.ppm"}));
}

TEST_F(InputRecordTest, WritesNothingUnlessAFolderIsNamed) {
  unsetenv("KAVREL_HOST_INPUTS");
  InputRecord record("a", 1);
  record.add(pixels_.data(), image());
  EXPECT_FALSE(dir_.exists("inputs"));
}

TEST_F(InputRecordTest, SaysWhichPictureCannotBeWritten) {
  dir_.write("inputs", "no folder");
  InputRecord record("a", 1);
  try {
    record.add(pixels_.data(), image());
    FAIL();
  } catch (const Refusal& refusal) {
    EXPECT_EQ(refusal.what(), "cannot write " + dir_.path("inputs/" + kHashOfA + "/0.ppm"));
  }
}

}  // namespace
}  // namespace host_runtime
