// The promises of our librknnrt.so for workstations, through its C interface.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "npu/rknn_api.h"
#include "tests/host_runtime/onnx_bytes.h"

namespace {

using onnx_bytes::cast;
using onnx_bytes::echo;
using onnx_bytes::model;
using onnx_bytes::node;
using onnx_bytes::quantised;
using onnx_bytes::tensor;

// 4 wide, 2 high; planar and interleaved.
const std::vector<std::int64_t> kPlanar{1, 3, 2, 4};
const std::vector<std::int64_t> kInterleaved{1, 2, 4, 3};
constexpr std::size_t kPixelBytes = 24;

using Bytes = std::vector<std::uint8_t>;
using Floats = std::vector<float>;

int init(rknn_context* context, std::string bytes) {
  return rknn_init(context, bytes.data(), static_cast<std::uint32_t>(bytes.size()), 0, nullptr);
}

// A loaded network, destroyed at the end of the test.
class Network {
 public:
  explicit Network(const std::string& bytes) { EXPECT_EQ(init(&context_, bytes), RKNN_SUCC); }
  ~Network() { rknn_destroy(context_); }
  Network(const Network&) = delete;
  Network& operator=(const Network&) = delete;

  rknn_context context() const { return context_; }

 private:
  rknn_context context_ = 0;
};

Bytes counting_pixels(std::size_t count = kPixelBytes) {
  Bytes pixels(count);
  std::iota(pixels.begin(), pixels.end(), std::uint8_t{0});
  return pixels;
}

rknn_input pixel_input(Bytes& pixels, std::uint32_t index = 0) {
  return {index, pixels.data(),     static_cast<std::uint32_t>(pixels.size()),
          0,     RKNN_TENSOR_UINT8, RKNN_TENSOR_NHWC};
}

int set_pixels(rknn_context context, Bytes pixels, std::uint32_t index = 0) {
  rknn_input input = pixel_input(pixels, index);
  return rknn_inputs_set(context, 1, &input);
}

rknn_output float_output(std::uint32_t index = 0) { return {1, 0, index, nullptr, 0}; }

// What the network makes of the pixels.
Floats infer(rknn_context context, const Bytes& pixels, std::uint32_t index = 0) {
  EXPECT_EQ(set_pixels(context, pixels), RKNN_SUCC);
  EXPECT_EQ(rknn_run(context, nullptr), RKNN_SUCC);
  rknn_output output = float_output(index);
  EXPECT_EQ(rknn_outputs_get(context, 1, &output, nullptr), RKNN_SUCC);
  const auto* const values = static_cast<const float*>(output.buf);
  Floats floats(values, values + output.size / sizeof(float));
  EXPECT_EQ(rknn_outputs_release(context, 1, &output), RKNN_SUCC);
  return floats;
}

Floats counting_floats(std::size_t count = kPixelBytes) {
  Floats floats(count);
  std::iota(floats.begin(), floats.end(), 0.0F);
  return floats;
}

// Counting pixels in planes: all first channels, all second, all third.
Floats counting_planes() {
  return {0, 3, 6, 9, 12, 15, 18, 21, 1, 4, 7, 10, 13, 16, 19, 22, 2, 5, 8, 11, 14, 17, 20, 23};
}

rknn_tensor_attr attr_of(rknn_context context, rknn_query_cmd command, std::uint32_t index = 0) {
  rknn_tensor_attr attr;
  std::memset(&attr, 0xAA, sizeof(attr));
  attr.index = index;
  EXPECT_EQ(rknn_query(context, command, &attr, sizeof(attr)), RKNN_SUCC);
  return attr;
}

// The call returns `code` and writes one line of ours that contains `text`.
void expect_refusal(int code, const std::string& text, const std::function<int()>& call) {
  testing::internal::CaptureStderr();
  const int returned = call();
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_EQ(returned, code) << line;
  EXPECT_EQ(line.rfind("librknnrt (workstation): ", 0), 0U) << line;
  EXPECT_NE(line.find(text), std::string::npos) << line;
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1) << line;
  EXPECT_EQ(line.back(), '\n') << line;
}

void expect_model_refused(const std::string& bytes, const std::string& text) {
  rknn_context context = 77;
  expect_refusal(RKNN_ERR_MODEL_INVALID, text, [&] { return init(&context, bytes); });
  EXPECT_EQ(context, 0U);
}

// Layout and element type of the input

TEST(HostRuntime, GivesAPlanarNetworkThePixelsInPlanes) {
  const Network network(echo(onnx_bytes::kFloat, kPlanar));
  EXPECT_EQ(infer(network.context(), counting_pixels()), counting_planes());
}

TEST(HostRuntime, GivesAPlanarNetworkEveryPixelOfAnImageOfAnySize) {
  const std::int64_t pixels = 331;
  const Network network(echo(onnx_bytes::kFloat, {1, 3, 1, pixels}));
  const Bytes image = counting_pixels(3 * pixels);
  Floats planes;
  for (std::size_t channel = 0; channel < 3; ++channel) {
    for (std::size_t i = channel; i < image.size(); i += 3) planes.push_back(image[i]);
  }
  EXPECT_EQ(infer(network.context(), image), planes);
}

TEST(HostRuntime, GivesAnInterleavedNetworkThePixelsAsTheyAre) {
  const Network network(echo(onnx_bytes::kFloat, kInterleaved));
  EXPECT_EQ(infer(network.context(), counting_pixels()), counting_floats());
}

TEST(HostRuntime, GivesBytesAndHalvesTheSameLayoutAsFloats) {
  for (const auto type : {onnx_bytes::kUint8, onnx_bytes::kFloat16}) {
    const Network planar(echo(type, kPlanar));
    EXPECT_EQ(infer(planar.context(), counting_pixels()), counting_planes());
    const Network interleaved(echo(type, kInterleaved));
    EXPECT_EQ(infer(interleaved.context(), counting_pixels()), counting_floats());
  }
}

TEST(HostRuntime, TurnsEveryPixelValueIntoExactlyThatHalf) {
  const std::vector<std::int64_t> dims{1, 1, 86, 3};
  const Network network(model({cast("image", "wide", onnx_bytes::kFloat)},
                              {tensor("image", onnx_bytes::kFloat16, dims)},
                              {tensor("wide", onnx_bytes::kFloat, dims)}));
  Floats wanted = counting_floats(258);
  wanted[256] = 0;
  wanted[257] = 1;
  EXPECT_EQ(infer(network.context(), counting_pixels(258)), wanted);
}

// Quantised tensors

TEST(HostRuntime, GivesAQuantisedInputTheElementsThatStandForThePixels) {
  const std::string network_file = echo(onnx_bytes::kInt8, kInterleaved);
  const Network network(quantised(network_file, "image", "0.5", "-100"));
  Bytes pixels(kPixelBytes, 0);
  Floats elements(kPixelBytes, -100);
  pixels[1] = 3;
  elements[1] = -94;
  pixels[2] = 255;  // would be 410: the greatest element is the nearest
  elements[2] = 127;
  EXPECT_EQ(infer(network.context(), pixels), elements);
}

TEST(HostRuntime, GivesAQuantisedPlanarInputThePixelsInPlanes) {
  const Network network(quantised(quantised(echo(onnx_bytes::kInt8, kPlanar), "image", "1", "-128"),
                                  "echo", "1", "-128"));
  EXPECT_EQ(infer(network.context(), counting_pixels()), counting_planes());
}

TEST(HostRuntime, HandsOutWhatTheElementsOfAQuantisedOutputStandFor) {
  for (const auto type : {onnx_bytes::kInt8, onnx_bytes::kUint8}) {
    const Network network(quantised(
        model({cast("image", "values", type)}, {tensor("image", onnx_bytes::kUint8, kInterleaved)},
              {tensor("values", type, kInterleaved)}),
        "values", "0.25", "4"));
    Floats wanted = counting_floats();
    for (float& value : wanted) value = (value - 4) / 4;
    EXPECT_EQ(infer(network.context(), counting_pixels()), wanted);
  }
}

TEST(HostRuntime, ReportsScaleAndZeroPoint) {
  const Network network(quantised(echo(onnx_bytes::kInt8, kInterleaved), "image", "0.125", "-128"));
  const rknn_tensor_attr image = attr_of(network.context(), RKNN_QUERY_INPUT_ATTR);
  EXPECT_EQ(image.type, RKNN_TENSOR_INT8);
  EXPECT_EQ(image.qnt_type, RKNN_TENSOR_QNT_AFFINE_ASYMMETRIC);
  EXPECT_EQ(image.scale, 0.125F);
  EXPECT_EQ(image.zp, -128);
  const rknn_tensor_attr echoed = attr_of(network.context(), RKNN_QUERY_OUTPUT_ATTR);
  EXPECT_EQ(echoed.qnt_type, RKNN_TENSOR_QNT_NONE);
  EXPECT_EQ(echoed.scale, 0.0F);
}

TEST(HostRuntime, RefusesAQuantisationThatItsTensorCannotHave) {
  const std::string bytes = echo(onnx_bytes::kInt8, kInterleaved);
  expect_model_refused(quantised(bytes, "image", "0", "0"), "input 0 'image' has the scale '0'");
  expect_model_refused(quantised(bytes, "image", "wide", "0"), "has the scale 'wide'");
  expect_model_refused(quantised(bytes, "image", "1", "128"), "has the zero point '128'");
  expect_model_refused(quantised(echo(onnx_bytes::kFloat, kPlanar), "image", "1", "0"),
                       "input 0 'image' has a scale and is not of 8 bits");
}

// Attributes

TEST(HostRuntime, CountsInputsAndOutputs) {
  const Network network(
      model({node("Identity", {"image"}, "same"), node("Neg", {"image"}, "negated")},
            {tensor("image", onnx_bytes::kFloat, kPlanar)},
            {tensor("same", onnx_bytes::kFloat, kPlanar),
             tensor("negated", onnx_bytes::kFloat, kPlanar)}));
  rknn_input_output_num counts{9, 9};
  ASSERT_EQ(rknn_query(network.context(), RKNN_QUERY_IN_OUT_NUM, &counts, sizeof(counts)), 0);
  EXPECT_EQ(counts.n_input, 1U);
  EXPECT_EQ(counts.n_output, 2U);
}

TEST(HostRuntime, DescribesATensorAsTheGraphHasItAndZeroesTheRest) {
  const Network network(echo(onnx_bytes::kFloat16, kPlanar));
  rknn_tensor_attr wanted{};
  wanted.n_dims = 4;
  std::copy(kPlanar.begin(), kPlanar.end(), wanted.dims);
  std::strcpy(wanted.name, "image");
  wanted.n_elems = 24;
  wanted.size = 48;
  wanted.fmt = RKNN_TENSOR_NCHW;
  wanted.type = RKNN_TENSOR_FLOAT16;
  const rknn_tensor_attr attr = attr_of(network.context(), RKNN_QUERY_INPUT_ATTR);
  EXPECT_EQ(std::memcmp(&attr, &wanted, offsetof(rknn_tensor_attr, fl)), 0);
  EXPECT_EQ(attr.zp, 0);
  EXPECT_EQ(attr.w_stride + attr.size_with_stride + attr.h_stride + attr.pass_through, 0U);
}

TEST(HostRuntime, NamesTheLayout) {
  const Network interleaved(echo(onnx_bytes::kUint8, kInterleaved));
  EXPECT_EQ(attr_of(interleaved.context(), RKNN_QUERY_INPUT_ATTR).fmt, RKNN_TENSOR_NHWC);
  const Network flat(model({node("Flatten", {"image"}, "row")},
                           {tensor("image", onnx_bytes::kFloat, kPlanar)},
                           {tensor("row", onnx_bytes::kFloat, {1, 24})}));
  const rknn_tensor_attr row = attr_of(flat.context(), RKNN_QUERY_OUTPUT_ATTR);
  EXPECT_EQ(row.fmt, RKNN_TENSOR_UNDEFINED);
  EXPECT_EQ(row.n_dims, 2U);
}

TEST(HostRuntime, NamesTheElementType) {
  const std::vector<std::pair<onnx_bytes::ElementType, rknn_tensor_type>> types{
      {onnx_bytes::kFloat, RKNN_TENSOR_FLOAT32}, {onnx_bytes::kFloat16, RKNN_TENSOR_FLOAT16},
      {onnx_bytes::kInt8, RKNN_TENSOR_INT8},     {onnx_bytes::kUint8, RKNN_TENSOR_UINT8},
      {onnx_bytes::kInt16, RKNN_TENSOR_INT16},   {onnx_bytes::kUint16, RKNN_TENSOR_UINT16},
      {onnx_bytes::kInt32, RKNN_TENSOR_INT32}};
  for (const auto& [onnx, rknn] : types) {
    const Network network(model({cast("image", "values", onnx)},
                                {tensor("image", onnx_bytes::kUint8, kInterleaved)},
                                {tensor("values", onnx, kInterleaved)}));
    EXPECT_EQ(attr_of(network.context(), RKNN_QUERY_OUTPUT_ATTR).type, rknn);
    EXPECT_EQ(infer(network.context(), counting_pixels()), counting_floats()) << onnx;
  }
}

TEST(HostRuntime, CutsALongName) {
  const std::string name(300, 'n');
  const Network network(model({node("Identity", {name}, "echo")},
                              {tensor(name, onnx_bytes::kFloat, kPlanar)},
                              {tensor("echo", onnx_bytes::kFloat, kPlanar)}));
  EXPECT_EQ(attr_of(network.context(), RKNN_QUERY_INPUT_ATTR).name, std::string(255, 'n'));
  EXPECT_EQ(infer(network.context(), counting_pixels()), counting_planes());
}

TEST(HostRuntime, RefusesAQueryItCannotAnswer) {
  const Network network(echo(onnx_bytes::kFloat, kPlanar));
  rknn_tensor_attr attr{};
  const auto query = [&](rknn_query_cmd command, void* info, std::uint32_t size) {
    return [=, &network] { return rknn_query(network.context(), command, info, size); };
  };
  const int code = RKNN_ERR_PARAM_INVALID;
  expect_refusal(code, "null", query(RKNN_QUERY_IN_OUT_NUM, nullptr, 8));
  expect_refusal(code, "null", query(RKNN_QUERY_INPUT_ATTR, nullptr, sizeof(attr)));
  expect_refusal(code, "size", query(RKNN_QUERY_IN_OUT_NUM, &attr, 7));
  expect_refusal(code, "size", query(RKNN_QUERY_OUTPUT_ATTR, &attr, sizeof(attr) - 1));
  expect_refusal(code, "command 9", query(9, &attr, sizeof(attr)));
  attr.index = 1;
  expect_refusal(code, "index", query(RKNN_QUERY_INPUT_ATTR, &attr, sizeof(attr)));
  expect_refusal(code, "index", query(RKNN_QUERY_OUTPUT_ATTR, &attr, sizeof(attr)));
}

// Setting inputs and running

TEST(HostRuntime, RefusesPixelsOfAnotherSizeAndSaysBothSizes) {
  const Network network(echo(onnx_bytes::kFloat, kPlanar));
  expect_refusal(RKNN_ERR_INPUT_INVALID, "takes 24 bytes (4 x 2 pixels of 3 bytes), 23 were given",
                 [&] { return set_pixels(network.context(), Bytes(23)); });
  const Network other(echo(onnx_bytes::kFloat16, kInterleaved));
  expect_refusal(RKNN_ERR_INPUT_INVALID, "takes 24 bytes (4 x 2 pixels of 3 bytes), 48 were given",
                 [&] { return set_pixels(other.context(), Bytes(48)); });
}

TEST(HostRuntime, RefusesAnythingButInterleavedBytes) {
  const Network network(echo(onnx_bytes::kFloat, kPlanar));
  Bytes pixels = counting_pixels();
  const auto refuse = [&](const std::function<void(rknn_input&)>& spoil, const std::string& text) {
    rknn_input input = pixel_input(pixels);
    spoil(input);
    expect_refusal(RKNN_ERR_INPUT_INVALID, text,
                   [&] { return rknn_inputs_set(network.context(), 1, &input); });
  };
  refuse([](rknn_input& input) { input.type = RKNN_TENSOR_FLOAT32; }, "UINT8");
  refuse([](rknn_input& input) { input.fmt = RKNN_TENSOR_NCHW; }, "NHWC");
  refuse([](rknn_input& input) { input.pass_through = 1; }, "pass_through");
  refuse([](rknn_input& input) { input.index = 1; }, "index");
  refuse([](rknn_input& input) { input.buf = nullptr; }, "null");
}

TEST(HostRuntime, RefusesACallWithoutInputs) {
  const Network network(echo(onnx_bytes::kFloat, kPlanar));
  Bytes pixels = counting_pixels();
  rknn_input input = pixel_input(pixels);
  expect_refusal(RKNN_ERR_PARAM_INVALID, "no inputs",
                 [&] { return rknn_inputs_set(network.context(), 1, nullptr); });
  expect_refusal(RKNN_ERR_PARAM_INVALID, "no inputs",
                 [&] { return rknn_inputs_set(network.context(), 0, &input); });
}

TEST(HostRuntime, RunsOnlyOnceEveryInputIsSet) {
  const Network network(model({node("Sub", {"left", "right"}, "difference")},
                              {tensor("left", onnx_bytes::kFloat, kInterleaved),
                               tensor("right", onnx_bytes::kFloat, kInterleaved)},
                              {tensor("difference", onnx_bytes::kFloat, kInterleaved)}));
  ASSERT_EQ(set_pixels(network.context(), Bytes(kPixelBytes, 9), 0), RKNN_SUCC);
  expect_refusal(RKNN_ERR_INPUT_INVALID, "input 1 was never given",
                 [&] { return rknn_run(network.context(), nullptr); });
  ASSERT_EQ(set_pixels(network.context(), Bytes(kPixelBytes, 2), 1), RKNN_SUCC);
  EXPECT_EQ(infer(network.context(), Bytes(kPixelBytes, 7)), Floats(kPixelBytes, 5));
}

TEST(HostRuntime, SetsNoInputWhenOneOfThemIsRefused) {
  const Network network(model(
      {node("Sub", {"left", "right"}, "difference")},
      {tensor("left", onnx_bytes::kFloat, kPlanar), tensor("right", onnx_bytes::kFloat, kPlanar)},
      {tensor("difference", onnx_bytes::kFloat, kPlanar)}));
  Bytes good = counting_pixels();
  Bytes bad(3);
  std::vector<rknn_input> inputs{pixel_input(good, 0), pixel_input(bad, 1)};
  expect_refusal(RKNN_ERR_INPUT_INVALID, "input 1 takes 24",
                 [&] { return rknn_inputs_set(network.context(), 2, inputs.data()); });
  expect_refusal(RKNN_ERR_INPUT_INVALID, "input 0 was never given",
                 [&] { return rknn_run(network.context(), nullptr); });
}

// Outputs

TEST(HostRuntime, HandsOutEveryOutput) {
  const Network network(
      model({node("Identity", {"image"}, "same"), node("Neg", {"image"}, "negated")},
            {tensor("image", onnx_bytes::kFloat, kInterleaved)},
            {tensor("same", onnx_bytes::kFloat, kInterleaved),
             tensor("negated", onnx_bytes::kFloat, kInterleaved)}));
  EXPECT_EQ(infer(network.context(), Bytes(kPixelBytes, 3), 0), Floats(kPixelBytes, 3));
  EXPECT_EQ(infer(network.context(), Bytes(kPixelBytes, 3), 1), Floats(kPixelBytes, -3));
}

TEST(HostRuntime, HandsOutFloatsInPlaceAndRenewsThemWithEachRun) {
  const Network network(echo(onnx_bytes::kFloat, kInterleaved));
  infer(network.context(), Bytes(kPixelBytes, 1));
  rknn_output first = float_output();
  ASSERT_EQ(rknn_outputs_get(network.context(), 1, &first, nullptr), RKNN_SUCC);
  infer(network.context(), Bytes(kPixelBytes, 2));
  rknn_output second = float_output();
  ASSERT_EQ(rknn_outputs_get(network.context(), 1, &second, nullptr), RKNN_SUCC);
  EXPECT_EQ(first.buf, second.buf);
  EXPECT_EQ(*static_cast<float*>(first.buf), 2.0F);
}

TEST(HostRuntime, HandsOutTheTensorsOwnBytesWhenFloatsAreNotWanted) {
  const Network network(echo(onnx_bytes::kUint8, kInterleaved));
  infer(network.context(), counting_pixels());
  rknn_output output{0, 0, 0, nullptr, 0};
  ASSERT_EQ(rknn_outputs_get(network.context(), 1, &output, nullptr), RKNN_SUCC);
  ASSERT_EQ(output.size, kPixelBytes);
  EXPECT_EQ(std::memcmp(output.buf, counting_pixels().data(), kPixelBytes), 0);
}

TEST(HostRuntime, CopiesIntoTheCallersBuffer) {
  for (const auto type : {onnx_bytes::kFloat, onnx_bytes::kFloat16}) {
    const Network network(echo(type, kInterleaved));
    infer(network.context(), counting_pixels());
    Floats floats(30, -1);
    rknn_output output{1, 1, 0, floats.data(), 30 * sizeof(float)};
    ASSERT_EQ(rknn_outputs_get(network.context(), 1, &output, nullptr), RKNN_SUCC);
    EXPECT_EQ(output.buf, floats.data());
    EXPECT_EQ(output.size, kPixelBytes * sizeof(float));
    EXPECT_EQ(Floats(floats.begin(), floats.begin() + 24), counting_floats());
    EXPECT_EQ(Floats(floats.begin() + 24, floats.end()), Floats(6, -1));
  }
}

TEST(HostRuntime, RefusesACallersBufferThatIsTooSmall) {
  const Network network(echo(onnx_bytes::kUint8, kInterleaved));
  infer(network.context(), counting_pixels());
  Floats floats(24, -1);
  rknn_output output{1, 1, 0, floats.data(), 95};
  const auto get = [&] { return rknn_outputs_get(network.context(), 1, &output, nullptr); };
  expect_refusal(RKNN_ERR_OUTPUT_INVALID, "takes 96 bytes, 95 were given", get);
  output.buf = nullptr;
  expect_refusal(RKNN_ERR_OUTPUT_INVALID, "null", get);
  EXPECT_EQ(floats, Floats(24, -1));
}

TEST(HostRuntime, RefusesOutputsThatAreNotThere) {
  const Network network(echo(onnx_bytes::kFloat, kPlanar));
  infer(network.context(), counting_pixels());
  rknn_output output = float_output(1);
  expect_refusal(RKNN_ERR_OUTPUT_INVALID, "index",
                 [&] { return rknn_outputs_get(network.context(), 1, &output, nullptr); });
  expect_refusal(RKNN_ERR_PARAM_INVALID, "no outputs",
                 [&] { return rknn_outputs_get(network.context(), 0, &output, nullptr); });
  expect_refusal(RKNN_ERR_PARAM_INVALID, "no outputs",
                 [&] { return rknn_outputs_get(network.context(), 1, nullptr, nullptr); });
  expect_refusal(RKNN_ERR_PARAM_INVALID, "no outputs",
                 [&] { return rknn_outputs_release(network.context(), 1, nullptr); });
}

TEST(HostRuntime, HasNoOutputsBeforeTheFirstRun) {
  const Network network(echo(onnx_bytes::kFloat, kPlanar));
  ASSERT_EQ(set_pixels(network.context(), counting_pixels()), RKNN_SUCC);
  rknn_output output = float_output();
  expect_refusal(RKNN_ERR_OUTPUT_INVALID, "rknn_run",
                 [&] { return rknn_outputs_get(network.context(), 1, &output, nullptr); });
}

TEST(HostRuntime, ClearsReleasedPointersAndLeavesTheCallersOwn) {
  const Network network(echo(onnx_bytes::kFloat, kPlanar));
  infer(network.context(), counting_pixels());
  Floats floats(24);
  std::vector<rknn_output> outputs{float_output(), {1, 1, 0, floats.data(), 96}};
  ASSERT_EQ(rknn_outputs_get(network.context(), 2, outputs.data(), nullptr), RKNN_SUCC);
  ASSERT_EQ(rknn_outputs_release(network.context(), 2, outputs.data()), RKNN_SUCC);
  EXPECT_EQ(outputs[0].buf, nullptr);
  EXPECT_EQ(outputs[1].buf, floats.data());
}

// Picks from a batch of one by the pixel values, so that any above 0 makes the run fail.
std::string failing_above_zero() {
  return model(
      {cast("image", "places", onnx_bytes::kInt32), node("Gather", {"image", "places"}, "found")},
      {tensor("image", onnx_bytes::kFloat, kInterleaved)},
      {tensor("found", onnx_bytes::kFloat, {1, 2, 4, 3, 2, 4, 3})});
}

TEST(HostRuntime, ReportsAFailedRunAndHasNoOutputsThen) {
  const Network network(failing_above_zero());
  EXPECT_EQ(infer(network.context(), Bytes(kPixelBytes, 0)), Floats(kPixelBytes * kPixelBytes));
  ASSERT_EQ(set_pixels(network.context(), Bytes(kPixelBytes, 1)), RKNN_SUCC);
  expect_refusal(RKNN_ERR_FAIL, "rknn_run", [&] { return rknn_run(network.context(), nullptr); });
  rknn_output output = float_output();
  expect_refusal(RKNN_ERR_OUTPUT_INVALID, "rknn_run",
                 [&] { return rknn_outputs_get(network.context(), 1, &output, nullptr); });
}

TEST(HostRuntime, RunsAgainAfterAFailedRun) {
  const Network network(failing_above_zero());
  ASSERT_EQ(set_pixels(network.context(), Bytes(kPixelBytes, 1)), RKNN_SUCC);
  expect_refusal(RKNN_ERR_FAIL, "rknn_run", [&] { return rknn_run(network.context(), nullptr); });
  EXPECT_EQ(infer(network.context(), Bytes(kPixelBytes, 0)), Floats(kPixelBytes * kPixelBytes));
}

TEST(HostRuntime, ReportsAnOutputOfAnotherShapeThanDeclared) {
  const Network network(model({node("Squeeze", {"image"}, "echo")},
                              {tensor("image", onnx_bytes::kFloat, kPlanar)},
                              {tensor("echo", onnx_bytes::kFloat, {})}));
  ASSERT_EQ(set_pixels(network.context(), counting_pixels()), RKNN_SUCC);
  expect_refusal(RKNN_ERR_FAIL, "shape", [&] { return rknn_run(network.context(), nullptr); });
}

// Contexts

TEST(HostRuntime, KeepsContextsApart) {
  const Network planar(echo(onnx_bytes::kFloat, kPlanar));
  const Network interleaved(echo(onnx_bytes::kUint8, kInterleaved));
  ASSERT_NE(planar.context(), interleaved.context());
  ASSERT_EQ(set_pixels(planar.context(), counting_pixels()), RKNN_SUCC);
  EXPECT_EQ(infer(interleaved.context(), Bytes(kPixelBytes, 8)), Floats(kPixelBytes, 8));
  ASSERT_EQ(rknn_run(planar.context(), nullptr), RKNN_SUCC);
  EXPECT_EQ(infer(planar.context(), counting_pixels()), counting_planes());
}

TEST(HostRuntime, RunsContextsInThreadsOfTheirOwn) {
  const auto work = [](std::uint8_t value) {
    for (int round = 0; round < 20; ++round) {
      const Network network(echo(onnx_bytes::kFloat, kPlanar));
      EXPECT_EQ(infer(network.context(), Bytes(kPixelBytes, value)), Floats(kPixelBytes, value));
    }
  };
  std::thread first(work, std::uint8_t{1});
  std::thread second(work, std::uint8_t{2});
  first.join();
  second.join();
}

TEST(HostRuntime, RefusesAContextThatIsNotAlive) {
  rknn_context destroyed = 0;
  ASSERT_EQ(init(&destroyed, echo(onnx_bytes::kFloat, kPlanar)), RKNN_SUCC);
  ASSERT_EQ(rknn_destroy(destroyed), RKNN_SUCC);
  const Network alive(echo(onnx_bytes::kFloat, kPlanar));
  rknn_input_output_num counts{};
  rknn_output output = float_output();
  for (const rknn_context context : {destroyed, rknn_context{0}, ~rknn_context{0}}) {
    const std::vector<std::function<int()>> calls{
        [&] { return rknn_query(context, RKNN_QUERY_IN_OUT_NUM, &counts, sizeof(counts)); },
        [&] { return set_pixels(context, counting_pixels()); },
        [&] { return rknn_run(context, nullptr); },
        [&] { return rknn_outputs_get(context, 1, &output, nullptr); },
        [&] { return rknn_outputs_release(context, 1, &output); },
        [&] { return rknn_destroy(context); }};
    for (const auto& call : calls) expect_refusal(RKNN_ERR_CTX_INVALID, "context", call);
  }
}

TEST(HostRuntimeDeathTest, LetsAProgramEndWithoutDestroyingItsContexts) {
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  const auto end_early = [] {
    rknn_context context = 0;
    init(&context, echo(onnx_bytes::kFloat, kPlanar));
    infer(context, counting_pixels());
    std::exit(0);
  };
  EXPECT_EXIT(end_early(), testing::ExitedWithCode(0), "^$");
}

// Models that are refused

TEST(HostRuntime, RefusesAModelThatIsNotOnnxAndSaysWhatToGive) {
  const std::string compiled = std::string("RKNN\0\0\0\0", 8) + std::string(5000, '\x5A');
  expect_model_refused(compiled,
                       "no complete ONNX file; compiled NPU models run only on the board");
  expect_model_refused("", "of 0 bytes is empty; compiled NPU models");
  expect_model_refused("hello", "models/reference");
}

TEST(HostRuntime, RefusesEveryTruncationOfAModel) {
  const std::string whole = echo(onnx_bytes::kFloat, kPlanar);
  for (std::size_t size = 0; size < whole.size(); ++size) {
    expect_model_refused(whole.substr(0, size), "ONNX");
  }
}

TEST(HostRuntime, RefusesRandomBytes) {
  std::uint32_t state = 1;
  for (int round = 0; round < 200; ++round) {
    std::string bytes(64, '\0');
    for (char& byte : bytes) {
      state = state * 1664525U + 1013904223U;
      byte = static_cast<char>(state >> 24);
    }
    expect_model_refused(bytes, "ONNX");
  }
}

TEST(HostRuntime, RefusesNetworksTheInterfaceCannotCarry) {
  const auto network = [](onnx_bytes::ElementType in, const std::vector<std::int64_t>& in_dims,
                          onnx_bytes::ElementType out, const std::vector<std::int64_t>& out_dims) {
    return model({cast("image", "values", out)}, {tensor("image", in, in_dims)},
                 {tensor("values", out, out_dims)});
  };
  const auto f = onnx_bytes::kFloat;
  const auto any = onnx_bytes::kDynamic;
  expect_model_refused(network(f, {any, 3, 2, 4}, f, {any, 3, 2, 4}),
                       "input 0 'image' has the shape [-1,3,2,4], wanted are fixed sizes");
  expect_model_refused(network(f, kPlanar, onnx_bytes::kInt64, kPlanar),
                       "output 0 'values' is of int64, wanted is float");
  expect_model_refused(network(onnx_bytes::kInt32, kPlanar, f, kPlanar),
                       "input 0 'image' is of int32, wanted for an image");
  expect_model_refused(network(onnx_bytes::kInt8, kPlanar, f, kPlanar),
                       "input 0 'image' is of int8, wanted for an image");
  expect_model_refused(network(f, {1, 24}, f, {1, 24}),
                       "input 0 'image' has the shape [1,24], wanted is one image");
  expect_model_refused(network(f, {2, 3, 2, 4}, f, {2, 3, 2, 4}), "[2,3,2,4], wanted is one image");
  expect_model_refused(network(f, {1, 1, 2, 4}, f, {1, 1, 2, 4}), "[1,1,2,4], wanted is one image");
  expect_model_refused(network(f, {1, 3, 1, 2, 4}, f, {1, 3, 1, 2, 4}), "wanted is one image");
  const std::vector<std::int64_t> deep(17, 1);
  expect_model_refused(network(f, deep, f, deep), "more than 16 dimensions");
  expect_model_refused(network(f, {1, 3, 1 << 16, 1 << 16}, f, {1, 3, 1 << 16, 1 << 16}),
                       "more than 4 GiB");
}

TEST(HostRuntime, RefusesAnOutputWhoseShapeDependsOnTheValues) {
  expect_model_refused(
      model({node("NonZero", {"image"}, "found64"), cast("found64", "found", onnx_bytes::kFloat)},
            {tensor("image", onnx_bytes::kFloat, kPlanar)},
            {tensor("found", onnx_bytes::kFloat, {4, onnx_bytes::kDynamic})}),
      "output 0 'found' has the shape [4,-1]");
}

TEST(HostRuntime, RefusesAnOutputThatIsAList) {
  expect_model_refused(model({node("SequenceConstruct", {"image"}, "list")},
                             {tensor("image", onnx_bytes::kFloat, kPlanar)},
                             {onnx_bytes::sequence("list", onnx_bytes::kFloat, kPlanar)}),
                       "output 0 'list' is no plain tensor");
}

TEST(HostRuntime, RefusesAnInputThatIsAlsoAnOutput) {
  const std::string image = tensor("image", onnx_bytes::kFloat, kPlanar);
  const std::string negated = tensor("negated", onnx_bytes::kFloat, kPlanar);
  expect_model_refused(model({node("Neg", {"image"}, "negated")}, {image}, {negated, image}),
                       "'image' is an input and an output at once");
}

TEST(HostRuntime, RefusesANetworkWithoutInputOrOutput) {
  const std::string image = tensor("image", onnx_bytes::kFloat, kPlanar);
  const std::string same = node("Identity", {"image"}, "same");
  expect_model_refused(model({same}, {image}, {}), "no input or no output");
}

TEST(HostRuntime, KeepsToOneLineWhenANameHasSeveral) {
  expect_model_refused(model({node("Identity", {"two\nlines"}, "echo")},
                             {tensor("two\nlines", onnx_bytes::kFloat, {1, 24})},
                             {tensor("echo", onnx_bytes::kFloat, {1, 24})}),
                       "input 0 'two lines' has the shape [1,24]");
}

TEST(HostRuntime, RefusesAnUnknownOperation) {
  expect_model_refused(
      model({node("Teleport", {"image"}, "echo")}, {tensor("image", onnx_bytes::kFloat, kPlanar)},
            {tensor("echo", onnx_bytes::kFloat, kPlanar)}),
      "not accepted by ONNX Runtime");
}

TEST(HostRuntime, RefusesNullPointersFlagsAndExtensions) {
  std::string bytes = echo(onnx_bytes::kFloat, kPlanar);
  const auto size = static_cast<std::uint32_t>(bytes.size());
  rknn_context context = 0;
  auto* const extend = reinterpret_cast<rknn_init_extend*>(&context);
  const int code = RKNN_ERR_PARAM_INVALID;
  expect_refusal(code, "null", [&] { return rknn_init(nullptr, bytes.data(), size, 0, nullptr); });
  expect_refusal(code, "null", [&] { return rknn_init(&context, nullptr, size, 0, nullptr); });
  expect_refusal(code, "flag", [&] { return rknn_init(&context, bytes.data(), size, 1, nullptr); });
  expect_refusal(code, "extend",
                 [&] { return rknn_init(&context, bytes.data(), size, 0, extend); });
}

// In a process of its own, as the runtime looks at its environment once.
TEST(HostRuntimeDeathTest, LeavesNothingInTheHomeFolder) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::filesystem::path home = std::filesystem::absolute("home_of_host_runtime_test");
  std::filesystem::remove_all(home);
  std::filesystem::create_directory(home);
  EXPECT_EXIT(
      {
        for (const char* name : {"HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
          setenv(name, home.c_str(), 1);
        }
        unsetenv("ORT_DISABLE_TELEMETRY");
        { const Network network(echo(onnx_bytes::kFloat, kPlanar)); }
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_TRUE(std::filesystem::is_empty(home));
  std::filesystem::remove_all(home);
}

}  // namespace
