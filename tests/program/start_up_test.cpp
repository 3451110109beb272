#include "tests/program/program_fixture.h"

namespace kavrel_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class StartUp : public ProgramTest {
 protected:
  // What an empty run prints after the description of the recogniser.
  std::string after_the_models() {
    const Outcome outcome = run();
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::size_t description = outcome.err.find("[RKNN] " + kReaderModel);
    const std::size_t output = outcome.err.find("  output[0]", description);
    return outcome.err.substr(outcome.err.find('\n', output) + 1);
  }
};

TEST_F(StartUp, TellsItsConfigurationAndItsModels) {
  EXPECT_EQ(run().err,
            "[INFO] input_mode=roi\n"
            "[INFO] use_plate_det=false\n"
            "[INFO] cases=0\n"
            "[INFO] region_words=2\n"
            "[INFO] ocr_chars_loaded=24\n"
            "[RKNN] models/rknn/plate_corner.rknn\n"
            "  input[0] name=image dims=[1,128,256,3] type=3 fmt=1\n"
            "  output[0] name=corners dims=[1,8] elems=8 type=0 fmt=3\n"
            "[RKNN] models/rknn/ppocrv6_det.rknn\n"
            "  input[0] name=image dims=[1,640,640,3] type=3 fmt=1\n"
            "  output[0] name=map dims=[1,1,64,64] elems=4096 type=0 fmt=3\n"
            "[RKNN] models/rknn/ppocrv6_rec.rknn\n"
            "  input[0] name=image dims=[1,48,320,3] type=3 fmt=1\n"
            "  output[0] name=steps dims=[1,16,25] elems=400 type=0 fmt=3\n"
            "[INFO] rec_classes=25 ocr_chars_after_shape_check=24 expected_chars=24\n");
}

TEST_F(StartUp, LoadsTheDetectorFirstWhenItIsUsed) {
  write(kPlateModel, plate_detector_script(""));
  const Outcome outcome = run({"--input-mode", "frame"});
  EXPECT_EQ(outcome.err, start_up_lines("frame", 0));
  EXPECT_THAT(lines_with(outcome.err, "[RKNN] "),
              ElementsAre("[RKNN] " + kPlateModel, "[RKNN] " + kCornerModel,
                          "[RKNN] " + kLinesModel, "[RKNN] " + kReaderModel));
}

TEST_F(StartUp, DescribesEveryTensorOfAModel) {
  write(kCornerModel,
        "name corner\ninput a - type=0 fmt=2\ninput b 7,4294967295 type=99 fmt=-1 elems=0\n"
        "output c 1 elems=4294967295 type=2 fmt=0\n"
        "output d 1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16 elems=0\n");
  EXPECT_THAT(run().err, HasSubstr("[RKNN] models/rknn/plate_corner.rknn\n"
                                   "  input[0] name=a dims=[] type=0 fmt=2\n"
                                   "  input[1] name=b dims=[7,4294967295] type=99 fmt=-1\n"
                                   "  output[0] name=c dims=[1] elems=4294967295 type=2 fmt=0\n"
                                   "  output[1] name=d dims=[1,2,3,4,5,6,7,8,9,10,11,12,13,14,"
                                   "15,16] elems=0 type=0 fmt=3\n"
                                   "[RKNN] models/rknn/ppocrv6_det.rknn\n"));
}

TEST_F(StartUp, CallsTheRuntimeWithClearedRecordsAndNoExtensions) {
  run();
  std::vector<std::string> expected;
  for (const auto& [label, path] :
       {std::pair{"corner", kCornerModel}, {"lines", kLinesModel}, {"reader", kReaderModel}}) {
    const auto load = load_calls(label, read(path).size());
    expected.insert(expected.end(), load.begin(), load.end());
  }
  expect_calls_and_releases(expected);
}

TEST_F(StartUp, AcceptsADictionaryThatFitsTheRecogniser) {
  write(kOcrDictionary, "a\nb\nc\n");
  write(kReaderModel, reader_script("", 4));
  EXPECT_EQ(after_the_models(),
            "[INFO] rec_classes=4 ocr_chars_after_shape_check=3 expected_chars=3\n");
}

TEST_F(StartUp, AppendsTheHalfWidthSpaceThatADictionaryFileCannotHold) {
  write(kOcrDictionary, "a\nb\nc\n");
  write(kReaderModel, reader_script("", 5));
  EXPECT_EQ(after_the_models(),
            "[WARN] OCR dict was missing one char; appended half-width space in memory.\n"
            "[INFO] rec_classes=5 ocr_chars_after_shape_check=4 expected_chars=4\n");
  EXPECT_EQ(read(kOcrDictionary), "a\nb\nc\n");
}

TEST_F(StartUp, WarnsOfADictionaryThatCannotFit) {
  write(kOcrDictionary, "a\nb\nc\n");
  for (const std::size_t classes : {1U, 3U, 6U}) {
    write(kReaderModel, reader_script("", classes));
    EXPECT_EQ(after_the_models(),
              "[INFO] rec_classes=" + std::to_string(classes) +
                  " ocr_chars_after_shape_check=3 expected_chars=" + std::to_string(classes - 1) +
                  "\n[WARN] OCR dict size still does not match rec output classes. CTC decode may "
                  "be wrong.\n");
  }
}

TEST_F(StartUp, ComparesNothingWithoutAClassCount) {
  write(kReaderModel, reader_script("", 0));
  EXPECT_EQ(after_the_models(), "");
  write(kReaderModel, "name reader\ninput image 1\noutput steps - elems=400\n");
  EXPECT_EQ(after_the_models(), "");
}

TEST_F(StartUp, TakesTheLastDimensionForTheClassCount) {
  write(kReaderModel, "name reader\ninput image 1\noutput steps 9,8,7,25\noutput more 1,3\n");
  EXPECT_THAT(run().err,
              testing::EndsWith(
                  "[INFO] rec_classes=25 ocr_chars_after_shape_check=24 expected_chars=24\n"));
}

TEST_F(StartUp, DecodesTheAppendedSpace) {
  const std::string space = std::to_string(ocr_dictionary().size() + 1);
  const std::size_t classes = ocr_dictionary().size() + 2;
  write(kReaderModel, reader_script("answer * 0 steps " + std::to_string(classes) + " " + space +
                                        " 16 " + space + " 2 " + space + "\n",
                                    classes));
  list_cases("a.png\n", {"a.png"});
  run();
  EXPECT_THAT(read(kCases + "/a/result.txt"), HasSubstr("ocr_texts: original_full:あ 1 / "));
}

TEST_F(StartUp, CountsTheLinesThatHoldSomething) {
  write(kOcrDictionary, "a\n\n  \nb\r\n\t c \n\u3000\nb");
  write(kRegionWords, "\n品川 \r\n品川\n# 横浜\n \n");
  const std::string err = run().err;
  EXPECT_THAT(lines_with(err, "[INFO] ocr_chars_loaded="),
              ElementsAre("[INFO] ocr_chars_loaded=5"));
  EXPECT_THAT(lines_with(err, "[INFO] region_words="), ElementsAre("[INFO] region_words=3"));
}

TEST_F(StartUp, LeavesEmptySummariesForAnEmptyCaseList) {
  const Outcome outcome = run({"--fail-on-error"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "========== FINAL_RESULT ==========\n"
            "input_mode=roi use_plate_det=false\n"
            "frame_total=0 frame_correct=0 frame_check_or_failed=0\n"
            "group_total=0 group_correct=0 group_check_or_failed=0\n"
            "summary=output/v21_product_validation/summary.csv\n");
  EXPECT_THAT(files("output"), ElementsAre("v21_product_validation/FINAL_RESULT.json",
                                           "v21_product_validation/frame_summary.csv",
                                           "v21_product_validation/summary.csv"));
  EXPECT_TRUE(exists(kCases));
  EXPECT_EQ(read(kOutput + "/frame_summary.csv"), kFrameSummaryHeader);
  EXPECT_EQ(read(kOutput + "/summary.csv"), kSummaryHeader);
  EXPECT_EQ(read(kOutput + "/FINAL_RESULT.json"),
            "{\n"
            "  \"input_mode\": \"roi\",\n"
            "  \"use_plate_det\": false,\n"
            "  \"frame_total\": 0,\n"
            "  \"frame_correct\": 0,\n"
            "  \"frame_check_or_failed\": 0,\n"
            "  \"group_total\": 0,\n"
            "  \"group_correct\": 0,\n"
            "  \"group_check_or_failed\": 0,\n"
            "  \"frame_summary_csv\": \"output/v21_product_validation/frame_summary.csv\",\n"
            "  \"summary_csv\": \"output/v21_product_validation/summary.csv\"\n"
            "}\n");
}

TEST_F(StartUp, ReplacesTheSummariesOfAnEarlierRun) {
  write(kOutput + "/frame_summary.csv", std::string(1000, 'x'));
  write(kOutput + "/summary.csv", std::string(1000, 'x'));
  write(kOutput + "/cases/old/result.txt", "kept");
  EXPECT_EQ(run().status, 0);
  EXPECT_EQ(read(kOutput + "/frame_summary.csv"), kFrameSummaryHeader);
  EXPECT_EQ(read(kOutput + "/summary.csv"), kSummaryHeader);
  EXPECT_EQ(read(kOutput + "/cases/old/result.txt"), "kept");
}

}  // namespace
}  // namespace kavrel_test
