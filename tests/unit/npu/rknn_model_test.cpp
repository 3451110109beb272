#include "npu/rknn_model.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <opencv2/core.hpp>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/test_support.h"

namespace {

// What a script cannot say: the runtime's queries and inputs pass by here, and a test may change
// or look at them.
std::function<void(rknn_query_cmd, rknn_tensor_attr&)> change_attr;
std::function<void(const rknn_input&)> watch_input;

template <typename Function>
Function* runtime_function(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

int rknn_query(rknn_context context, rknn_query_cmd cmd, void* info, std::uint32_t size) {
  static auto* const query = runtime_function<decltype(rknn_query)>("rknn_query");
  const int ret = query(context, cmd, info, size);
  if (ret == RKNN_SUCC && change_attr && cmd != RKNN_QUERY_IN_OUT_NUM) {
    change_attr(cmd, *static_cast<rknn_tensor_attr*>(info));
  }
  return ret;
}

int rknn_inputs_set(rknn_context context, std::uint32_t n_inputs, rknn_input inputs[]) {
  static auto* const inputs_set = runtime_function<decltype(rknn_inputs_set)>("rknn_inputs_set");
  if (watch_input) watch_input(inputs[0]);
  return inputs_set(context, n_inputs, inputs);
}

namespace kavrel {
namespace {

using kavrel_test::attr_of;
using kavrel_test::Capture;
using kavrel_test::failure_of;
using kavrel_test::load_script;
using kavrel_test::RuntimeLog;
using kavrel_test::ScriptedModel;
using kavrel_test::TempDir;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Floats = std::vector<float>;

const std::string kNet =
    "name net\ninput image 1,3,48,320\noutput map 1,2\noutput list 3\n"
    "answer * 0 floats 1.5 -2\nanswer * 1 floats 3 4 5\n";

// Two pixels of three different channels each.
cv::Mat two_pixels() {
  return (cv::Mat_<cv::Vec3b>(1, 2) << cv::Vec3b(1, 2, 3), cv::Vec3b(4, 5, 6));
}

std::string infer_failure(RknnModel& model, const cv::Mat& image = two_pixels()) {
  return failure_of([&] { model.infer_uint8_nhwc(image); });
}

// Makes a record that is not cleared differ from one that is, on the heap and on the stack.
class DirtyMemory {
 public:
  DirtyMemory() { mallopt(M_PERTURB, 0x55); }
  ~DirtyMemory() { mallopt(M_PERTURB, 0); }
  DirtyMemory(const DirtyMemory&) = delete;
  DirtyMemory& operator=(const DirtyMemory&) = delete;

  [[gnu::noinline]] void spoil_stack() const {
    std::array<volatile unsigned char, 1 << 15> bytes;
    for (volatile unsigned char& byte : bytes) byte = 0xAA;
  }
};

// A script in a file of its own, so that a test knows the path of the model.
class RknnModelFile : public testing::Test {
 protected:
  ~RknnModelFile() override { change_attr = nullptr, watch_input = nullptr; }

  std::string write(const std::string& script, const std::string& name = "net.rknn") {
    return dir_.write(name, script);
  }
  std::string load_failure(const std::string& path) {
    return failure_of([&] { model_.load(path); });
  }

  TempDir dir_;
  RknnModel model_;
};

TEST(TensorDims, AreTheValidOnesInTheirOrder) {
  rknn_tensor_attr attr = attr_of({1, 3, 640, 640});
  EXPECT_THAT(tensor_dims(attr), ElementsAre(1, 3, 640, 640));
  attr.n_dims = 2;
  EXPECT_THAT(tensor_dims(attr), ElementsAre(1, 3));
  attr.n_dims = 0;
  EXPECT_THAT(tensor_dims(attr), IsEmpty());
}

TEST(TensorDims, AreSixteenAtMost) {
  rknn_tensor_attr attr{};
  for (std::uint32_t& dim : attr.dims) dim = 2;
  for (const std::uint32_t n_dims : {16U, 17U, 0xFFFFFFFFU}) {
    attr.n_dims = n_dims;
    EXPECT_EQ(tensor_dims(attr), std::vector<std::uint32_t>(16, 2)) << n_dims;
  }
}

TEST(DimsToString, ListsTheDimsInBrackets) {
  EXPECT_EQ(dims_to_string(attr_of({1, 3, 640, 640})), "[1,3,640,640]");
  EXPECT_EQ(dims_to_string(attr_of({1, 2})), "[1,2]");
  EXPECT_EQ(dims_to_string(attr_of({4294967295})), "[4294967295]");
  EXPECT_EQ(dims_to_string(attr_of({})), "[]");
}

TEST(RknnModel, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<RknnModel>);
  EXPECT_FALSE(std::is_copy_assignable_v<RknnModel>);
}

TEST(RknnModel, IsEmptyBeforeItIsLoaded) {
  RknnModel model;
  EXPECT_EQ(infer_failure(model), "RKNN model not loaded");
  EXPECT_EQ(infer_failure(model, cv::Mat()), "RKNN model not loaded");
  EXPECT_THAT(model.output_attrs(), IsEmpty());
  EXPECT_THROW(model.input_w(), std::out_of_range);
  EXPECT_THROW(model.input_h(), std::out_of_range);
  EXPECT_THROW(model.output_elem_count(0), std::out_of_range);
}

TEST(RknnModel, DestroysNothingThatItDidNotLoad) {
  const RuntimeLog log;
  { RknnModel().release(); }
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RknnModelFile, IsGivenToTheRuntimeWholeAndItsTensorsAreAskedForInOrder) {
  const RuntimeLog log;
  load_script(model_, kNet);
  const std::string size = std::to_string(kNet.size());
  EXPECT_THAT(log.lines(), ElementsAre("rknn_init net size=" + size + " flag=0 extend=null ret=0",
                                       "rknn_query net cmd=0 size=8 record=clear ret=0",
                                       "rknn_query net cmd=1 index=0 size=376 record=clear ret=0",
                                       "rknn_query net cmd=2 index=0 size=376 record=clear ret=0",
                                       "rknn_query net cmd=2 index=1 size=376 record=clear ret=0"));
}

TEST_F(RknnModelFile, IsDescribedOnStandardError) {
  const std::string path = write(
      "name net\n"
      "input image 1,3,48,320\n"
      "input mask - type=5 fmt=2\n"
      "output map 1,2,3\n"
      "output list 4 elems=0 type=-1 fmt=7\n"
      "output big 2 elems=4294967295\n");
  const Capture err;
  model_.load(path);
  EXPECT_EQ(err.text(), "[RKNN] " + path +
                            "\n  input[0] name=image dims=[1,3,48,320] type=3 fmt=1\n"
                            "  input[1] name=mask dims=[] type=5 fmt=2\n"
                            "  output[0] name=map dims=[1,2,3] elems=6 type=0 fmt=3\n"
                            "  output[1] name=list dims=[4] elems=0 type=-1 fmt=7\n"
                            "  output[2] name=big dims=[2] elems=4294967295 type=0 fmt=3\n");
}

TEST_F(RknnModelFile, IsDescribedByItsPathAloneWithoutTensors) {
  const std::string path = write("name net\n");
  const Capture err;
  model_.load(path);
  EXPECT_EQ(err.text(), "[RKNN] " + path + "\n");
}

TEST_F(RknnModelFile, MayNameATensorWithoutAnEnd) {
  change_attr = [](rknn_query_cmd, rknn_tensor_attr& attr) {
    std::memset(attr.name, 'n', sizeof attr.name);
  };
  const Capture err;
  model_.load(write(kNet));
  const std::string name = " name=" + std::string(256, 'n') + " dims=";
  ASSERT_EQ(err.lines().size(), 4U);
  EXPECT_THAT(err.lines()[1], HasSubstr("input[0]" + name));
  EXPECT_THAT(err.lines()[3], HasSubstr("output[1]" + name));
}

TEST_F(RknnModelFile, MayTellMoreDimsThanThereAre) {
  change_attr = [](rknn_query_cmd, rknn_tensor_attr& attr) {
    attr.n_dims = 99;
    attr.n_elems = 0;
    for (std::uint32_t& dim : attr.dims) dim = 1;
    attr.dims[14] = 3;
    attr.dims[15] = 2;
  };
  const Capture err;
  model_.load(write(kNet));
  EXPECT_EQ(model_.input_w(), 2);
  EXPECT_EQ(model_.input_h(), 3);
  EXPECT_EQ(model_.output_elem_count(0), 6U);
  EXPECT_THAT(err.text(), HasSubstr("dims=[1,1,1,1,1,1,1,1,1,1,1,1,1,1,3,2] "));
}

TEST_F(RknnModelFile, IsRefusedByTheCallThatFailsAndTheMessageNamesIt) {
  struct FailingLoad {
    std::string failure;
    std::string message;
  };
  const std::string path = dir_.path("net.rknn");
  const std::vector<FailingLoad> cases = {
      {"fail init * -3", "rknn_init failed: " + path + ", ret=-3"},
      {"fail init * 1", "rknn_init failed: " + path + ", ret=1"},
      {"no statement", "rknn_init failed: " + path + ", ret=-6"},
      {"fail in_out_num * -5", "RKNN_QUERY_IN_OUT_NUM failed: " + path},
      {"fail input_attr 0 -5", "RKNN_QUERY_INPUT_ATTR failed"},
      {"fail output_attr 0 -5", "RKNN_QUERY_OUTPUT_ATTR failed"},
      {"fail output_attr 1 1", "RKNN_QUERY_OUTPUT_ATTR failed"},
  };
  for (const FailingLoad& failing : cases) {
    SCOPED_TRACE(failing.failure);
    const Capture err;
    write(kNet + failing.failure + "\n");
    EXPECT_EQ(load_failure(path), failing.message);
    EXPECT_EQ(err.text(), "");
  }
}

TEST_F(RknnModelFile, IsRefusedWhenASecondInputCannotBeAskedFor) {
  const std::string path = write("name net\ninput a 1\ninput b 1\nfail input_attr 1 -5\n");
  EXPECT_EQ(load_failure(path), "RKNN_QUERY_INPUT_ATTR failed");
}

TEST_F(RknnModelFile, IsRefusedWhenItCannotBeRead) {
  const RuntimeLog log;
  const std::string missing = dir_.path("missing.rknn");
  EXPECT_EQ(load_failure(missing), "failed to open binary: " + missing);
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(RknnModelFile, IsDestroyedOnceAfterAQueryFailed) {
  const RuntimeLog log;
  const std::string path = write(kNet + "fail in_out_num * -5\n");
  {
    failure_of([&] { RknnModel().load(path); });
  }
  EXPECT_THAT(log.calls(), ElementsAre("rknn_init net", "rknn_query net", "rknn_destroy net"));
}

TEST_F(RknnModelFile, IsDestroyedByTheNextLoadAfterAQueryFailed) {
  load_failure(write("name bad\ninput a 1\nfail input_attr * -5\n"));
  const RuntimeLog log;
  load_script(model_, kNet);
  EXPECT_THAT(log.calls(), ElementsAre("rknn_destroy bad", "rknn_init net", "rknn_query net",
                                       "rknn_query net", "rknn_query net", "rknn_query net"));
}

TEST_F(RknnModelFile, IsNotDestroyedWhenItWasNeverInitialised) {
  const RuntimeLog log;
  const std::string path = write(kNet + "fail init * -3\n");
  {
    failure_of([&] { RknnModel().load(path); });
  }
  EXPECT_THAT(log.calls(), ElementsAre("rknn_init net"));
}

TEST_F(RknnModelFile, ReplacesAnEarlierOneWhichIsDestroyedFirst) {
  load_script(model_, "name first\noutput a 1\noutput b 1\noutput c 1\n");
  const RuntimeLog log;
  load_script(model_, kNet);
  EXPECT_THAT(log.calls(), ElementsAre("rknn_destroy first", "rknn_init net", "rknn_query net",
                                       "rknn_query net", "rknn_query net", "rknn_query net"));
  EXPECT_EQ(model_.output_attrs().size(), 2U);
  EXPECT_THAT(model_.infer_uint8_nhwc(two_pixels()),
              ElementsAre(ElementsAre(1.5F, -2.0F), ElementsAre(3.0F, 4.0F, 5.0F)));
}

TEST_F(RknnModelFile, DestroysAnEarlierOneBeforeItIsRead) {
  load_script(model_, kNet);
  const RuntimeLog log;
  load_failure(dir_.path("missing.rknn"));
  EXPECT_THAT(log.calls(), ElementsAre("rknn_destroy net"));
  EXPECT_EQ(infer_failure(model_), "RKNN model not loaded");
}

TEST_F(RknnModelFile, IsAskedWithClearedRecordsAlsoTheSecondTime) {
  load_script(model_, kNet);
  const DirtyMemory dirty;
  const RuntimeLog log;
  const std::string path = write(kNet);
  const Capture err;
  dirty.spoil_stack();
  model_.load(path);
  std::vector<std::string> queries;
  for (const std::string& line : log.lines()) {
    if (line.rfind("rknn_query", 0) == 0) queries.push_back(line);
  }
  EXPECT_EQ(queries.size(), 4U);
  EXPECT_THAT(queries, Each(HasSubstr("record=clear")));
}

TEST(RknnModel, DestroysItsContextOnce) {
  const RuntimeLog log;
  {
    ScriptedModel model(kNet);
    model.get().release();
    model.get().release();
    EXPECT_EQ(log.count("rknn_destroy"), 1);
  }
  EXPECT_EQ(log.count("rknn_destroy"), 1);
  { const ScriptedModel model(kNet); }
  EXPECT_EQ(log.count("rknn_destroy"), 2);
}

TEST(RknnModel, DoesNotMindAContextThatCannotBeDestroyed) {
  ScriptedModel model(kNet + "fail destroy * -1\n");
  EXPECT_NO_THROW(model.get().release());
  EXPECT_EQ(infer_failure(model.get()), "RKNN model not loaded");
}

TEST(RknnModel, KeepsWhatItKnowsOfItsTensorsAfterRelease) {
  ScriptedModel model(kNet);
  model.get().release();
  EXPECT_EQ(infer_failure(model.get()), "RKNN model not loaded");
  EXPECT_EQ(model.get().output_attrs().size(), 2U);
  EXPECT_EQ(model.get().output_elem_count(1), 3U);
  EXPECT_EQ(model.get().input_w(), 320);
}

TEST(RknnModel, KnowsTheAttributesOfItsOutputsInOrder) {
  ScriptedModel model(kNet);
  const std::vector<rknn_tensor_attr>& attrs = model.get().output_attrs();
  ASSERT_EQ(attrs.size(), 2U);
  EXPECT_STREQ(attrs[0].name, "map");
  EXPECT_STREQ(attrs[1].name, "list");
  EXPECT_EQ(attrs[1].index, 1U);
}

TEST(RknnModel, ReadsItsInputSizeFromTheLastTwoOfFourDimsOrMore) {
  struct InputSize {
    std::string dims;
    int width;
    int height;
  };
  const std::vector<InputSize> cases = {
      {"1,3,48,320", 320, 48}, {"1,640,640,3", 3, 640}, {"1,1,3,48,320", 320, 48},
      {"3,48,320", 0, 0},      {"48,320", 0, 0},        {"-", 0, 0},
  };
  for (const InputSize& size : cases) {
    SCOPED_TRACE(size.dims);
    for (const std::string format : {"0", "1"}) {
      ScriptedModel model("name net\ninput a " + size.dims + " fmt=" + format +
                          "\ninput b 9,9,9,9\n");
      EXPECT_EQ(model.get().input_w(), size.width);
      EXPECT_EQ(model.get().input_h(), size.height);
    }
  }
}

TEST(RknnModel, HasNoInputSizeWithoutAnInput) {
  ScriptedModel model("name net\noutput a 1\n");
  EXPECT_THROW(model.get().input_w(), std::out_of_range);
  EXPECT_THROW(model.get().input_h(), std::out_of_range);
}

TEST(RknnModel, CountsElementsAsToldOrByTheDims) {
  ScriptedModel model(
      "name net\n"
      "output told 1,100,6 elems=7\n"
      "output dims 1,100,6 elems=0\n"
      "output none - elems=0\n"
      "output zero 4,0,2 elems=0\n"
      "output huge 65536,65536,16 elems=0\n");
  const std::vector<std::uint64_t> counts = {7, 600, 1, 0, 68719476736};
  for (std::uint32_t i = 0; i < counts.size(); ++i) {
    EXPECT_EQ(model.get().output_elem_count(i), counts[i]) << i;
  }
  EXPECT_THROW(model.get().output_elem_count(5), std::out_of_range);
}

TEST(RknnModel, TakesOnlyEightBitImagesOfThreeChannels) {
  ScriptedModel model(kNet);
  const RuntimeLog log;
  for (const int type : {CV_8UC1, CV_8UC2, CV_8UC4, CV_8SC3, CV_16UC3, CV_32FC3}) {
    EXPECT_EQ(infer_failure(model.get(), cv::Mat::zeros(48, 320, type)),
              "input must be CV_8UC3 RGB image");
  }
  EXPECT_EQ(infer_failure(model.get(), cv::Mat()), "input must be CV_8UC3 RGB image");
  EXPECT_EQ(infer_failure(model.get(), cv::Mat(0, 320, CV_8UC3)),
            "input must be CV_8UC3 RGB image");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(RknnModel, RunsTheNetworkInFourCalls) {
  ScriptedModel model(kNet);
  const RuntimeLog log;
  model.get().infer_uint8_nhwc(two_pixels());
  EXPECT_THAT(log.lines(),
              ElementsAre("rknn_inputs_set net n=1 [index=0 size=6 pass_through=0 type=3 fmt=1 "
                          "rest=clear] ret=0",
                          "rknn_run net extend=null ret=0",
                          "rknn_outputs_get net extend=null n=2 "
                          "[index=0 want_float=1 is_prealloc=0 rest=clear] "
                          "[index=1 want_float=1 is_prealloc=0 rest=clear] ret=0",
                          "rknn_outputs_release net n=2 buffers=own ret=0"));
}

TEST(RknnModel, HandsThePixelsOverAsTheyAre) {
  ScriptedModel model(kNet);
  const RuntimeLog log;
  model.get().infer_uint8_nhwc(two_pixels());
  EXPECT_THAT(log.inputs("net"), ElementsAre("\1\2\3\4\5\6"));
}

TEST(RknnModel, HandsOverRecordsThatAreClearButForTheirFields) {
  for (const std::string outputs : {"", "output a 1\n", "output a 1\noutput b 1\noutput c 1\n"}) {
    ScriptedModel model("name net\ninput image 1\n" + outputs);
    const cv::Mat pixels = two_pixels();
    const RuntimeLog log;
    const DirtyMemory dirty;
    dirty.spoil_stack();
    model.get().infer_uint8_nhwc(pixels);
    for (const std::string& line : log.lines()) {
      EXPECT_EQ(line.find("rest=dirty"), std::string::npos) << line;
    }
  }
}

TEST_F(RknnModelFile, ReadsThePixelsOfTheImageItself) {
  load_script(model_, kNet);
  const cv::Mat pixels = two_pixels();
  const void* seen = nullptr;
  watch_input = [&](const rknn_input& input) { seen = input.buf; };
  model_.infer_uint8_nhwc(pixels);
  EXPECT_EQ(seen, pixels.data);
}

TEST(RknnModel, LeavesTheSizeOfTheImageToTheRuntime) {
  ScriptedModel model(kNet);
  const RuntimeLog log;
  model.get().infer_uint8_nhwc(cv::Mat::zeros(7, 9, CV_8UC3));
  EXPECT_THAT(log.lines()[0], HasSubstr(" size=189 "));
}

TEST(RknnModel, ReturnsTheFloatsOfEveryOutputOfThatRun) {
  ScriptedModel model(kNet + "answer 2 0 floats 8 9\nanswer 2 1 floats 1 1 2\n");
  EXPECT_THAT(model.get().infer_uint8_nhwc(two_pixels()),
              ElementsAre(Floats{1.5F, -2}, Floats{3, 4, 5}));
  EXPECT_THAT(model.get().infer_uint8_nhwc(two_pixels()),
              ElementsAre(Floats{8, 9}, Floats{1, 1, 2}));
}

TEST(RknnModel, ReturnsNoOutputsOfANetworkWithoutAny) {
  ScriptedModel model("name net\ninput image 1\n");
  EXPECT_THAT(model.get().infer_uint8_nhwc(two_pixels()), IsEmpty());
}

TEST(RknnModel, ReturnsAsManyFloatsAsAnOutputHasElements) {
  ScriptedModel model(
      "name net\ninput image 1\noutput fewer 9 elems=2\noutput dims 1,100,6 elems=0\n"
      "output none 3,0 elems=0\nanswer * 0 floats 1 2 3 4\nanswer * 2 null\n");
  const auto outputs = model.get().infer_uint8_nhwc(two_pixels());
  ASSERT_EQ(outputs.size(), 3U);
  EXPECT_THAT(outputs[0], ElementsAre(1, 2));
  EXPECT_EQ(outputs[1].size(), 600U);
  EXPECT_THAT(outputs[2], IsEmpty());
}

TEST_F(RknnModelFile, FailsToInferInTheWordsOfTheCallThatFailed) {
  struct FailingRun {
    std::string call;
    std::vector<std::string> calls;
  };
  const std::vector<FailingRun> cases = {
      {"inputs_set", {"rknn_inputs_set net"}},
      {"run", {"rknn_inputs_set net", "rknn_run net"}},
      {"outputs_get", {"rknn_inputs_set net", "rknn_run net", "rknn_outputs_get net"}},
  };
  for (const FailingRun& failing : cases) {
    for (const std::string code : {"-1", "-9", "2"}) {
      SCOPED_TRACE(failing.call + code);
      const std::string path = write(kNet + "fail " + failing.call + " 1 " + code + "\n");
      const Capture err;
      model_.load(path);
      const std::string description = err.text();
      const RuntimeLog log;
      EXPECT_EQ(infer_failure(model_),
                "rknn_" + failing.call + " failed: " + path + ", ret=" + code);
      EXPECT_EQ(log.calls(), failing.calls);
      EXPECT_EQ(err.text(), description);
    }
  }
}

TEST(RknnModel, CanBeUsedAgainAfterAFailedRun) {
  for (const std::string call : {"inputs_set", "run", "outputs_get"}) {
    ScriptedModel model(kNet + "fail " + call + " 1 -1\n");
    infer_failure(model.get());
    EXPECT_THAT(model.get().infer_uint8_nhwc(two_pixels()),
                ElementsAre(Floats{1.5F, -2}, Floats{3, 4, 5}))
        << call;
  }
}

TEST(RknnModel, DoesNotMindOutputsThatCannotBeReleased) {
  ScriptedModel model(kNet + "fail outputs_release * -1\n");
  EXPECT_THAT(model.get().infer_uint8_nhwc(two_pixels()),
              ElementsAre(Floats{1.5F, -2}, Floats{3, 4, 5}));
}

TEST_F(RknnModelFile, RefusesAnOutputThatIsTooSmall) {
  for (const std::string answer : {"size 11", "size 8", "size 1", "null"}) {
    SCOPED_TRACE(answer);
    const std::string path = write(kNet + "answer 1 1 " + answer + "\n");
    const Capture err;
    model_.load(path);
    const RuntimeLog log;
    EXPECT_EQ(infer_failure(model_), "rknn output 1 too small: " + path);
    EXPECT_EQ(log.count("rknn_outputs_release"), 1);
    EXPECT_NO_THROW(model_.infer_uint8_nhwc(two_pixels()));
  }
}

TEST_F(RknnModelFile, NamesTheFirstOutputThatIsTooSmall) {
  const std::string path = write(kNet + "answer * 0 size 4\nanswer * 1 null\n");
  const Capture err;
  model_.load(path);
  EXPECT_EQ(infer_failure(model_), "rknn output 0 too small: " + path);
}

TEST(RknnModel, TrustsABufferWhoseSizeIsNotTold) {
  ScriptedModel model(kNet + "answer * 1 size 0\n");
  EXPECT_THAT(model.get().infer_uint8_nhwc(two_pixels())[1], ElementsAre(3, 4, 5));
}

TEST(RknnModel, TakesABufferThatIsJustLargeEnough) {
  ScriptedModel model(kNet + "answer * 1 size 12\n");
  EXPECT_THAT(model.get().infer_uint8_nhwc(two_pixels())[1], ElementsAre(3, 4, 5));
}

// The product of these dims does not fit into 32 bits: it must not come out as a small number.
TEST_F(RknnModelFile, RefusesAnOutputThatClaimsMoreThanAnyBufferHolds) {
  const std::string path =
      write("name net\ninput image 1\noutput huge 65536,65537 elems=0\nanswer * 0 fill 70000 1\n");
  const Capture err;
  model_.load(path);
  EXPECT_EQ(infer_failure(model_), "rknn output 0 too small: " + path);
}

}  // namespace
}  // namespace kavrel
