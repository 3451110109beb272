#include "tests/program/program_fixture.h"

namespace kavrel_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct Model {
  std::string label, path, script;
};

// Frame mode over the single image a.png; the models in the order in which they are loaded. The
// plate has no kana, so that the search for it runs, too.
class Failure : public ProgramTest {
 protected:
  Failure() {
    for (const Model& model : models_) write(model.path, model.script);
    list_cases("a.png,,g\n", {"a.png"});
  }

  // A run in which one more statement stands in the script of one model.
  Outcome run_with(const Model& model, const std::string& statement) {
    write(model.path, model.script + statement + "\n");
    const Outcome outcome = run({"--input-mode", "frame"});
    write(model.path, model.script);
    return outcome;
  }

  // Every context that was made is destroyed once, whatever happened in between.
  void expect_all_released() const {
    for (const Model& model : models_) {
      long made = 0;
      for (const std::string& call : calls()) {
        made += call.rfind("rknn_init " + model.label, 0) == 0 && call.find("ret=0") < call.size();
      }
      EXPECT_EQ(count_calls("rknn_destroy", model.label), made) << model.label;
    }
  }

  void expect_no_report() const {
    EXPECT_FALSE(exists(kOutput + "/summary.csv"));
    EXPECT_FALSE(exists(kOutput + "/FINAL_RESULT.json"));
  }

  const std::vector<Model> models_ = {{"plate", kPlateModel, plate_detector_script("")},
                                      {"corner", kCornerModel, corner_script()},
                                      {"lines", kLinesModel, line_detector_script()},
                                      {"reader", kReaderModel, reader_script("")}};
  const Model& corner_ = models_[1];
  const Model& lines_ = models_[2];
  const Model& reader_ = models_[3];
};

TEST_F(Failure, WhileLoadingNamesTheStepAndStopsTheRun) {
  for (std::size_t i = 0; i < models_.size(); ++i) {
    const Model& model = models_[i];
    const std::vector<std::pair<std::string, std::string>> steps = {
        {"fail init * -6", "rknn_init failed: " + model.path + ", ret=-6"},
        {"fail init * 7", "rknn_init failed: " + model.path + ", ret=7"},
        {"fail in_out_num * -1", "RKNN_QUERY_IN_OUT_NUM failed: " + model.path},
        {"fail input_attr 0 -1", "RKNN_QUERY_INPUT_ATTR failed"},
        {"input two 1\nfail input_attr 1 -1", "RKNN_QUERY_INPUT_ATTR failed"},
        {"fail output_attr 0 -1", "RKNN_QUERY_OUTPUT_ATTR failed"},
        {"output two 1\nfail output_attr 1 -1", "RKNN_QUERY_OUTPUT_ATTR failed"}};
    for (const auto& [statement, message] : steps) {
      SCOPED_TRACE(model.label + ": " + statement);
      const Outcome outcome = run_with(model, statement);
      EXPECT_THAT(outcome, FailsWith(message));
      EXPECT_THAT(lines_with(outcome.err, "[INFO] "), SizeIs(5));
      EXPECT_THAT(lines_with(outcome.err, "[RKNN] "), SizeIs(i));
      EXPECT_THAT(lines_of(outcome.err).size(), 5 + 3 * i + 1);
      expect_all_released();
      EXPECT_THAT(files(kOutput), IsEmpty());
    }
  }
}

// A directory can be opened, so that it passes for a file that is there, but not read. The three
// are made good in the order in which they are read.
TEST_F(Failure, ToReadADictionaryOrTheCasesStopsTheRunBeforeItSaysAnything) {
  const std::vector<std::pair<std::string, std::string>> inputs = {
      {kRegionWords, "failed to open: "},
      {kOcrDictionary, "failed to open: "},
      {kCaseList, "failed to open input list: "}};
  for (const auto& [path, message] : inputs) {
    remove(path);
    make_directory(path);
  }
  for (const auto& [path, message] : inputs) {
    const Outcome outcome = run();
    EXPECT_THAT(outcome, FailsWith(message + path));
    EXPECT_THAT(lines_of(outcome.err), SizeIs(1));
    EXPECT_TRUE(exists(kCases)) << "the directories are made first";
    remove(path);
    write(path, "");
  }
  EXPECT_EQ(run().status, 0);
}

TEST_F(Failure, OfAnEmptyModelFileIsTheRuntimesToTell) {
  write(kCornerModel, "");
  EXPECT_THAT(run(), FailsWith("rknn_init failed: " + kCornerModel + ", ret=-6"));
  EXPECT_THAT(calls(), ElementsAre("rknn_init - size=0 flag=0 extend=null ret=-6"));
}

TEST_F(Failure, WhileRunningNamesTheStepTheModelAndTheCode) {
  for (const Model& model : models_) {
    for (const std::string call : {"inputs_set", "run", "outputs_get"}) {
      SCOPED_TRACE(model.label + ": " + call);
      const Outcome outcome = run_with(model, "fail " + call + " * -3");
      EXPECT_THAT(outcome, FailsWith("rknn_" + call + " failed: " + model.path + ", ret=-3"));
      EXPECT_EQ(read(kOutput + "/frame_summary.csv"), kFrameSummaryHeader);
      EXPECT_FALSE(exists(kCases + "/a/result.txt"));
      EXPECT_EQ(count_calls("rknn_outputs_release", model.label), 0);
      expect_all_released();
      expect_no_report();
    }
  }
}

TEST_F(Failure, EndsTheRunAtWhicheverReadingItHappens) {
  // 20 window readings, then a free and a constrained reading of each of 100 candidates.
  for (const int number : {1, 13, 20, 21, 22, 119, 220}) {
    const Outcome outcome = run_with(reader_, "fail run " + std::to_string(number) + " -2");
    EXPECT_THAT(outcome, FailsWith("rknn_run failed: " + kReaderModel + ", ret=-2"));
    EXPECT_EQ(count_calls("rknn_run", "reader"), number);
    EXPECT_EQ(count_calls("rknn_outputs_release", "reader"), number - 1);
    EXPECT_THAT(lines_with(outcome.err, "[KANA_FALLBACK] "),
                SizeIs(static_cast<std::size_t>(number > 20 ? (number - 21) / 2 : 0)));
    expect_no_report();
  }
}

TEST_F(Failure, ToReleaseOutputsIsNone) {
  EXPECT_EQ(run_with(reader_, "fail outputs_release * -1").status, 0);
  EXPECT_EQ(run_with(corner_, "fail outputs_release * -1").status, 0);
  EXPECT_EQ(run_with(lines_, "fail destroy * -1").status, 0);
}

TEST_F(Failure, OfTheCornerModelIsAnOutputUnderEightValues) {
  const std::string net = "name corner\ninput image 1,128,256,3\n";
  for (const std::string outputs :
       {"", "output corners 7\n", "output corners 0\n", "output corners 1,7\noutput more 1,8\n"}) {
    write(kCornerModel, net + outputs);
    EXPECT_THAT(run(), FailsWith("plate_corner output invalid")) << outputs;
    EXPECT_TRUE(exists(kCases + "/a/plate_roi.jpg"));
    EXPECT_FALSE(exists(kCases + "/a/corner_debug.jpg"));
  }
}

TEST_F(Failure, OfTheCornerModelIsNoneWithMoreValuesThanEight) {
  write(kCornerModel,
        "name corner\ninput image 1,128,256,3\noutput corners 1,9\noutput more 1,2\n"
        "answer * 0 floats 0 0 1 0 1 1 0 1 -5\n");
  EXPECT_EQ(run().status, 0);
}

TEST_F(Failure, OfTheLineDetectorIsAnEmptyOutput) {
  const std::string net = "name lines\ninput image 1,640,640,3\n";
  for (const std::string outputs : {"", "output map 1,0\n", "output map 0\noutput more 4,4\n"}) {
    write(kLinesModel, net + outputs);
    EXPECT_THAT(run(), FailsWith("ppocr det output invalid")) << outputs;
  }
}

TEST_F(Failure, OfTheLineDetectorIsNoneWhenItsMapIsNotSquare) {
  write(kLinesModel, "name lines\ninput image 1,640,640,3\noutput map 1000\noutput more 4,4\n");
  const Outcome outcome = run();
  EXPECT_EQ(outcome.status, 0);
  const auto warnings = lines_with(outcome.err, "[WARN]");
  EXPECT_THAT(warnings, SizeIs(5));
  EXPECT_THAT(warnings,
              testing::Each("[WARN] unexpected ppocr det output elems=1000, skip DB boxes."));
  EXPECT_EQ(count_calls("rknn_run", "reader"), 220);
  EXPECT_TRUE(exists(kCases + "/a/ocr_variant_gray.jpg"));
  EXPECT_FALSE(exists(kCases + "/a/ocr_variant_gray_det_mask.jpg"));
  EXPECT_FALSE(exists(kCases + "/a/ocr_variant_gray_det_boxes.jpg"));
}

TEST_F(Failure, OfTheRecogniserIsAnEmptyOutput) {
  write(kReaderModel, "name reader\ninput image 1,48,320,3\noutput steps 1,0,25\n");
  EXPECT_THAT(run(), FailsWith("ppocr rec output invalid"));
}

TEST_F(Failure, OfTheRecogniserIsNoneWhenItsShapeDoesNotFit) {
  write(kReaderModel, "name reader\ninput image 1,48,320,3\noutput steps 1,16,25 elems=399\n");
  const Outcome outcome = run();
  EXPECT_EQ(outcome.status, 0);
  const auto warnings = lines_with(outcome.err, "[WARN]");
  EXPECT_THAT(warnings, SizeIs(20 + 100)) << "the constrained readings say nothing";
  EXPECT_THAT(warnings, testing::Each("[WARN] invalid rec output shape T=16 C=25 logits=399"));
}

TEST_F(Failure, ToReadAnImageEndsTheRunAndKeepsTheRowsBefore) {
  write(kReaderModel, reader_script(reads_every_plate(kShinagawa)));
  for (const std::string bad : {"gone.png", "text.png"}) {
    remove(kOutput);
    write("text.png", "this is no picture");
    list_cases("a.png,,g\n" + bad + ",,g\nb.png,,g\n", {"a.png", "b.png"});
    const Outcome outcome = run();
    EXPECT_THAT(outcome, FailsWith("failed to read image: " + bad));
    EXPECT_THAT(lines_with(outcome.err, "========== CASE "),
                ElementsAre("========== CASE 1/3: a.png group=g ==========",
                            "========== CASE 2/3: " + bad + " group=g =========="));
    EXPECT_EQ(read(kOutput + "/frame_summary.csv"),
              kFrameSummaryHeader + "g,a.png,," + kShinagawaNumber + ",unknown," +
                  kShinagawaFields + "," + ocr_texts(kShinagawa) + "\n");
    EXPECT_TRUE(exists(kCases + "/a/result.json"));
    EXPECT_THAT(files(kCases + "/" + bad.substr(0, 4)), IsEmpty());
    EXPECT_FALSE(exists(kCases + "/b"));
    expect_no_report();
  }
}

TEST_F(Failure, ToMakeACaseDirectoryEndsTheRun) {
  write(kCases + "/a", "a file where a directory must be");
  const Outcome outcome = run();
  EXPECT_THAT(outcome, FailsWith("mkdir failed: " + kCases + "/a"));
  EXPECT_THAT(lines_with(outcome.err, "========== CASE "), IsEmpty());
  expect_no_report();
}

TEST_F(Failure, ToWriteAFileIsNone) {
  write(kReaderModel, reader_script(reads_every_plate(kShinagawa)));
  const std::string expected = run().out;
  remove(kOutput);
  for (const std::string blocked :
       {"frame_summary.csv", "summary.csv", "FINAL_RESULT.json", "cases/a/result.txt",
        "cases/a/result.json", "cases/a/plate_roi.jpg", "cases/a/ocr_variant_gray.jpg"}) {
    make_directory(kOutput + "/" + blocked);
  }
  const Outcome outcome = run();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, expected);
  EXPECT_TRUE(exists(kCases + "/a/rectified_plate.jpg"));
}

}  // namespace
}  // namespace kavrel_test
