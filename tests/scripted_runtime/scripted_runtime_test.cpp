#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "npu/rknn_api.h"
#include "tests/support/temp_dir.h"

namespace {

using testing::ElementsAre;

constexpr char kTensors[] = "name net\ninput image 1,1,2,3\noutput map 1,4\n";

rknn_context loaded(const std::string& script) {
  rknn_context context = 0;
  std::string model = script;
  const auto size = static_cast<std::uint32_t>(model.size());
  EXPECT_EQ(rknn_init(&context, model.data(), size, 0, nullptr), RKNN_SUCC);
  return context;
}

int feed(rknn_context context) {
  std::array<unsigned char, 6> pixels{1, 2, 3, 4, 5, 6};
  rknn_input input{};
  input.buf = pixels.data();
  input.size = 6;
  input.type = RKNN_TENSOR_UINT8;
  input.fmt = RKNN_TENSOR_NHWC;
  return rknn_inputs_set(context, 1, &input);
}

rknn_output wanted() {
  rknn_output output{};
  output.want_float = 1;
  return output;
}

std::vector<float> infer(rknn_context context) {
  rknn_output output = wanted();
  EXPECT_EQ(feed(context), RKNN_SUCC);
  EXPECT_EQ(rknn_run(context, nullptr), RKNN_SUCC);
  EXPECT_EQ(rknn_outputs_get(context, 1, &output, nullptr), RKNN_SUCC);
  const auto* values = static_cast<const float*>(output.buf);
  std::vector<float> copy(values, values + output.size / sizeof(float));
  EXPECT_EQ(rknn_outputs_release(context, 1, &output), RKNN_SUCC);
  return copy;
}

std::vector<float> first_answer(const std::string& lines) {
  const rknn_context context = loaded(kTensors + lines);
  const std::vector<float> values = infer(context);
  rknn_destroy(context);
  return values;
}

TEST(ScriptedRuntime, AnswersWhatTheVerbsBuild) {
  EXPECT_THAT(first_answer("answer * 0 floats 1 -2.5 3 4\n"), ElementsAre(1, -2.5, 3, 4));
  EXPECT_THAT(first_answer("answer * 0 fill 4 0.5\n"), ElementsAre(.5, .5, .5, .5));
  EXPECT_THAT(first_answer("answer * 0 steps 2 1 0\n"), ElementsAre(0, 1, 1, 0));
  EXPECT_THAT(first_answer("answer * 0 fill 4 0\nanswer * 0 rect 1 0 1 2 7\n"),
              ElementsAre(0, 7, 0, 7));
  EXPECT_THAT(first_answer("answer * 0 fill 4 0\nanswer * 0 set 2 inf\n"),
              ElementsAre(0, 0, INFINITY, 0));
  EXPECT_TRUE(std::isnan(first_answer("answer * 0 floats nan\n")[0]));
}

TEST(ScriptedRuntime, FillsAShortAnswerUpWithZeros) {
  EXPECT_THAT(first_answer(""), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(first_answer("answer * 0 floats 9\n"), ElementsAre(9, 0, 0, 0));
}

TEST(ScriptedRuntime, TakesTheElementCountFromTheDimsWhenItIsZero) {
  const rknn_context context = loaded("name net\ninput i 1\noutput o 3,2 elems=0\n");
  EXPECT_EQ(infer(context).size(), 6U);
  rknn_destroy(context);
}

TEST(ScriptedRuntime, LetsTheLastFittingSelectorAnswerARun) {
  const rknn_context context = loaded(std::string(kTensors) +
                                      "answer * 0 floats 1\nanswer 2-4/2 0 floats 2\n"
                                      "answer 3-4 0 floats 3\nanswer 6 0 floats 4\n");
  std::vector<float> firsts;
  for (int run = 1; run <= 6; ++run) firsts.push_back(infer(context)[0]);
  EXPECT_THAT(firsts, ElementsAre(1, 2, 3, 3, 1, 4));
  rknn_destroy(context);
}

TEST(ScriptedRuntime, ReportsAnotherSizeOrNoBufferWhenTold) {
  const rknn_context context =
      loaded(std::string(kTensors) + "answer 1 0 size 3\nanswer 2 0 null\n");
  EXPECT_EQ(infer(context).size(), 0U);
  rknn_output output = wanted();
  feed(context);
  rknn_run(context, nullptr);
  rknn_outputs_get(context, 1, &output, nullptr);
  EXPECT_EQ(output.buf, nullptr);
  rknn_destroy(context);
}

TEST(ScriptedRuntime, DescribesTheTensorsOfTheScript) {
  const rknn_context context =
      loaded("name net\ninput a 1,2 type=5 fmt=2\ninput b -\noutput c 7 elems=4294967295\n");
  rknn_input_output_num counts{};
  EXPECT_EQ(rknn_query(context, RKNN_QUERY_IN_OUT_NUM, &counts, sizeof counts), RKNN_SUCC);
  EXPECT_EQ(counts.n_input, 2U);
  EXPECT_EQ(counts.n_output, 1U);
  rknn_tensor_attr attr{};
  EXPECT_EQ(rknn_query(context, RKNN_QUERY_INPUT_ATTR, &attr, sizeof attr), RKNN_SUCC);
  EXPECT_STREQ(attr.name, "a");
  EXPECT_EQ(attr.n_dims, 2U);
  EXPECT_EQ(attr.dims[1], 2U);
  EXPECT_EQ(attr.n_elems, 2U);
  EXPECT_EQ(attr.type, 5);
  EXPECT_EQ(attr.fmt, 2);
  EXPECT_EQ(rknn_query(context, RKNN_QUERY_OUTPUT_ATTR, &attr, sizeof attr), RKNN_SUCC);
  EXPECT_EQ(attr.n_elems, 4294967295U);
  attr.index = 1;
  EXPECT_EQ(rknn_query(context, RKNN_QUERY_OUTPUT_ATTR, &attr, sizeof attr),
            RKNN_ERR_PARAM_INVALID);
  rknn_destroy(context);
}

TEST(ScriptedRuntime, FailsTheCallsThatTheScriptFails) {
  const rknn_context context = loaded(std::string(kTensors) +
                                      "fail in_out_num * -1\nfail input_attr 0 -2\n"
                                      "fail output_attr * -3\nfail inputs_set 1 -4\n"
                                      "fail run 2 -5\nfail outputs_get 3 -6\n"
                                      "fail outputs_release 4 -7\nfail destroy * -8\n");
  rknn_tensor_attr attr{};
  rknn_output output = wanted();
  EXPECT_EQ(rknn_query(context, RKNN_QUERY_IN_OUT_NUM, &attr, sizeof attr), -1);
  EXPECT_EQ(rknn_query(context, RKNN_QUERY_INPUT_ATTR, &attr, sizeof attr), -2);
  EXPECT_EQ(rknn_query(context, RKNN_QUERY_OUTPUT_ATTR, &attr, sizeof attr), -3);
  EXPECT_EQ(feed(context), -4);
  EXPECT_EQ(feed(context), RKNN_SUCC);
  EXPECT_EQ(rknn_run(context, nullptr), -5);
  EXPECT_EQ(feed(context), RKNN_SUCC);
  EXPECT_EQ(rknn_run(context, nullptr), RKNN_SUCC);
  EXPECT_EQ(rknn_outputs_get(context, 1, &output, nullptr), -6);
  EXPECT_EQ(feed(context), RKNN_SUCC);
  EXPECT_EQ(rknn_run(context, nullptr), RKNN_SUCC);
  EXPECT_EQ(rknn_outputs_get(context, 1, &output, nullptr), RKNN_SUCC);
  EXPECT_EQ(rknn_outputs_release(context, 1, &output), -7);
  EXPECT_EQ(rknn_destroy(context), -8);

  rknn_context none = 0;
  std::string model = "name net\nfail init * -9\n";
  EXPECT_EQ(rknn_init(&none, model.data(), static_cast<std::uint32_t>(model.size()), 0, nullptr),
            -9);
  EXPECT_EQ(none, 0U);
}

TEST(ScriptedRuntime, RefusesCallsOutOfOrderAndDeadContexts) {
  const rknn_context context = loaded(kTensors);
  rknn_output output = wanted();
  EXPECT_EQ(rknn_run(context, nullptr), RKNN_ERR_FAIL);
  feed(context);
  EXPECT_EQ(rknn_outputs_get(context, 1, &output, nullptr), RKNN_ERR_FAIL);
  EXPECT_EQ(rknn_destroy(context), RKNN_SUCC);
  EXPECT_EQ(rknn_destroy(context), RKNN_ERR_CTX_INVALID);
  EXPECT_EQ(feed(context), RKNN_ERR_CTX_INVALID);
}

TEST(ScriptedRuntime, RefusesAScriptThatItCannotRead) {
  for (const char* line :
       {"", "input i 1", "name n\nname m", "name n\nwhat", "name n\ninput i", "name n\ninput i 1,x",
        "name n\ninput i 1 size=3", "name n\nfail fun * -1", "name n\nfail run 1",
        "name n\nkill -1", "name n\nanswer * 0 steps 2 2", "name n\nanswer * 0 set 0 1",
        "name n\nkill 1 2", "name n\nanswer * 0 fill 3 0\nanswer * 0 rect 0 0 1 1 1",
        "name n\nanswer 1/0 0 fill 1 1"}) {
    rknn_context context = 0;
    std::string model = line;
    EXPECT_EQ(
        rknn_init(&context, model.data(), static_cast<std::uint32_t>(model.size()), 0, nullptr),
        RKNN_ERR_MODEL_INVALID)
        << line;
  }
}

TEST(ScriptedRuntime, EndsTheProcessAtTheRunToKill) {
  const rknn_context context = loaded(std::string(kTensors) + "kill 2\n");
  infer(context);
  feed(context);
  EXPECT_EXIT(rknn_run(context, nullptr), testing::KilledBySignal(SIGKILL), "");
  rknn_destroy(context);
}

class ScriptedLog : public testing::Test {
 protected:
  void SetUp() override { setenv("SCRIPTED_RKNNRT_LOG", path_.c_str(), 1); }
  void TearDown() override {
    unsetenv("SCRIPTED_RKNNRT_LOG");
    std::remove(path_.c_str());
  }
  std::string log() const {
    std::ostringstream text;
    text << std::ifstream(path_).rdbuf();
    return text.str();
  }

 private:
  const std::string path_ = testing::TempDir() + "scripted_log_" +
                            testing::UnitTest::GetInstance()->current_test_info()->name();
};

TEST_F(ScriptedLog, HoldsEveryCallOfALife) {
  const rknn_context context = loaded(kTensors);
  rknn_tensor_attr attr{};
  rknn_query(context, RKNN_QUERY_INPUT_ATTR, &attr, sizeof attr);
  infer(context);
  rknn_destroy(context);

  EXPECT_EQ(log(),
            "rknn_init net size=" + std::to_string(sizeof kTensors - 1) +
                " flag=0 extend=null ret=0\n"
                "rknn_query net cmd=1 index=0 size=376 record=clear ret=0\n"
                "rknn_inputs_set net n=1 [index=0 size=6 pass_through=0 type=3 fmt=1 rest=clear] "
                "ret=0\n"
                "rknn_run net extend=null ret=0\n"
                "rknn_outputs_get net extend=null n=1 [index=0 want_float=1 is_prealloc=0 "
                "rest=clear] ret=0\n"
                "rknn_outputs_release net n=1 buffers=own ret=0\n"
                "rknn_destroy net ret=0\n");
}

TEST_F(ScriptedLog, TellsRecordsThatWereNotCleared) {
  const rknn_context context = loaded(kTensors);
  rknn_tensor_attr attr{};
  attr.zp = 1;
  rknn_query(context, RKNN_QUERY_INPUT_ATTR, &attr, sizeof attr);
  rknn_input input;
  std::memset(&input, 0xff, sizeof input);
  input.buf = nullptr;
  rknn_inputs_set(context, 1, &input);
  rknn_output output = wanted();
  output.size = 1;
  rknn_outputs_get(context, 1, &output, nullptr);
  rknn_outputs_release(context, 1, &output);
  rknn_destroy(context);
  EXPECT_THAT(log(), testing::HasSubstr("size=376 record=dirty"));
  EXPECT_THAT(log(), testing::HasSubstr("fmt=-1 rest=dirty]"));
  EXPECT_THAT(log(), testing::HasSubstr("is_prealloc=0 rest=dirty"));
  EXPECT_THAT(log(), testing::HasSubstr("buffers=foreign"));
}

TEST(ScriptedInputs, AreKeptRunByRun) {
  const kavrel_test::TempDir dir;
  setenv("SCRIPTED_RKNNRT_INPUTS", dir.path().c_str(), 1);
  const rknn_context context = loaded(kTensors);
  infer(context);
  infer(context);
  rknn_destroy(context);
  unsetenv("SCRIPTED_RKNNRT_INPUTS");
  EXPECT_THAT(dir.names(), ElementsAre("net.1", "net.2"));
  EXPECT_EQ(dir.read("net.2"), "\1\2\3\4\5\6");
}

}  // namespace
