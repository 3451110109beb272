#include "app/args.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/expected_texts.h"
#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::failure_of;
using kavrel_test::kUsage;
using kavrel_test::TempDir;

struct PathOption {
  std::string name;
  std::string Args::*field;
};

const std::vector<PathOption> kPathOptions = {
    {"--plate-det-model", &Args::plate_det_model},
    {"--plate-corner-model", &Args::plate_corner_model},
    {"--ppocr-det-model", &Args::ppocr_det_model},
    {"--ppocr-rec-model", &Args::ppocr_rec_model},
    {"--dict-region", &Args::dict_region},
    {"--ocr-dict", &Args::ocr_dict},
    {"--input-list", &Args::input_list},
    {"--output-dir", &Args::output_dir},
};

Args parse(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "kavrel");
  std::vector<const char*> argv;
  for (const std::string& argument : arguments) argv.push_back(argument.c_str());
  return parse_args(static_cast<int>(argv.size()), argv.data());
}

std::string parse_failure(const std::vector<std::string>& arguments) {
  return failure_of([&] { parse(arguments); });
}

// Sends what is written to standard output where a death test looks, and nothing else.
void parse_with_output_watched(const std::vector<std::string>& arguments) {
  std::cout.rdbuf(std::cerr.rdbuf(nullptr));
  parse(arguments);
}

// Everything in `args` as text, to compare whole records.
std::vector<std::string> values_of(const Args& args) {
  std::vector<std::string> values = {args.input_mode, std::to_string(args.plate_det_thresh),
                                     args.fail_on_error ? "true" : "false"};
  for (const PathOption& option : kPathOptions) values.push_back(args.*option.field);
  return values;
}

TEST(ParseArgs, FillsInDefaultsWithoutArguments) {
  const Args args = parse({});
  EXPECT_EQ(args.input_mode, "roi");
  EXPECT_EQ(args.plate_det_model, "models/rknn/plate_det.rknn");
  EXPECT_EQ(args.plate_corner_model, "models/rknn/plate_corner.rknn");
  EXPECT_EQ(args.ppocr_det_model, "models/rknn/ppocrv6_det.rknn");
  EXPECT_EQ(args.ppocr_rec_model, "models/rknn/ppocrv6_rec.rknn");
  EXPECT_EQ(args.dict_region, "dict/region_words.txt");
  EXPECT_EQ(args.ocr_dict, "dict/ppocrv6_rec_dict.txt");
  EXPECT_EQ(args.input_list, "samples/real_lpr/real_lpr_expected.csv");
  EXPECT_EQ(args.output_dir, "output/v21_product_validation");
  EXPECT_EQ(args.plate_det_thresh, 0.25F);
  EXPECT_FALSE(args.fail_on_error);
}

TEST(ParseArgs, HasTheSameDefaultsInAFreshRecord) {
  EXPECT_EQ(values_of(Args()), values_of(parse({})));
}

TEST(ParseArgs, SetsOneFieldPerOption) {
  for (const PathOption& option : kPathOptions) {
    Args wanted;
    wanted.*option.field = "some path";
    EXPECT_EQ(values_of(parse({option.name, "some path"})), values_of(wanted)) << option.name;
  }
}

TEST(ParseArgs, KnowsThreeInputModes) {
  for (const std::string mode : {"roi", "frame", "auto"}) {
    EXPECT_EQ(parse({"--input-mode", mode}).input_mode, mode);
  }
  for (const std::string mode : {"ROI", "", "roi ", "frames", "aut"}) {
    EXPECT_EQ(parse_failure({"--input-mode", mode}), "--input-mode must be roi, frame, or auto");
  }
}

TEST(ParseArgs, LooksAtTheInputModeOnlyAtTheEnd) {
  EXPECT_EQ(parse({"--input-mode", "ROI", "--input-mode", "auto"}).input_mode, "auto");
  EXPECT_EQ(parse_failure({"--input-mode", "ROI", "--what"}), "unknown argument: --what");
}

TEST(ParseArgs, TakesAnyValueAsItStands) {
  for (const std::string value : {"", "--input-mode", "-h", " a ", "品川"}) {
    EXPECT_EQ(parse({"--output-dir", value}).output_dir, value);
  }
}

TEST(ParseArgs, LetsTheLastOfRepeatedOptionsCount) {
  const Args args = parse({"--ocr-dict", "a", "--output-dir", "b", "--ocr-dict", "c"});
  EXPECT_EQ(args.ocr_dict, "c");
  EXPECT_EQ(args.output_dir, "b");
}

TEST(ParseArgs, ReadsTheThresholdAsFarAsItIsANumber) {
  const std::vector<std::pair<std::string, float>> cases = {
      {"0.3", 0.3F},    {"0.123456789", 0.123456789F},
      {"abc", 0.0F},    {"", 0.0F},
      {"-1.5", -1.5F},  {"7", 7.0F},
      {"0.5abc", 0.5F}, {"2e-1", 0.2F},
      {" .5", 0.5F},    {"0", 0.0F},
  };
  for (const auto& [value, threshold] : cases) {
    EXPECT_EQ(parse({"--plate-det-thresh", value}).plate_det_thresh, threshold) << value;
  }
}

TEST(ParseArgs, SetsFailOnErrorWithoutAValue) {
  EXPECT_TRUE(parse({"--fail-on-error"}).fail_on_error);
  EXPECT_TRUE(parse({"--fail-on-error", "--fail-on-error"}).fail_on_error);
  EXPECT_EQ(parse_failure({"--fail-on-error", "x"}), "unknown argument: x");
}

TEST(ParseArgs, MissesTheValueOfALastOption) {
  std::vector<std::string> names = {"--input-mode", "--plate-det-thresh"};
  for (const PathOption& option : kPathOptions) names.push_back(option.name);
  for (const std::string& name : names) {
    EXPECT_EQ(parse_failure({name}), "missing value for " + name);
    EXPECT_EQ(parse_failure({"--fail-on-error", name}), "missing value for " + name);
  }
}

TEST(ParseArgs, RefusesWhatIsNotExactlyAnOption) {
  for (const std::string argument : {"x", "", "--output", "--OUTPUT-DIR", "--output-dir=x", "-o",
                                     "--output-dir ", "-H", "--", "-help", "--fail-on-error=1"}) {
    EXPECT_EQ(parse_failure({argument, "x"}), "unknown argument: " + argument);
  }
}

TEST(ParseArgs, TakesNoOptionFromTheProgramsName) {
  const char* const argv[] = {"--what"};
  EXPECT_EQ(values_of(parse_args(1, argv)), values_of(Args()));
}

TEST(ParseArgs, WorksWithoutEvenAProgramsName) {
  EXPECT_EQ(values_of(parse_args(0, nullptr)), values_of(Args()));
}

TEST(ParseArgsDeathTest, PrintsTheUsageTextAndSucceeds) {
  for (const std::string help : {"-h", "--help"}) {
    EXPECT_EXIT(parse_with_output_watched({help}), testing::ExitedWithCode(0),
                testing::Matcher<const std::string&>(kUsage));
  }
}

TEST(ParseArgsDeathTest, WritesNoUsageTextToStandardError) {
  const auto parse_without_output = [] {
    std::cout.rdbuf(nullptr);
    parse({"-h"});
  };
  EXPECT_EXIT(parse_without_output(), testing::ExitedWithCode(0),
              testing::Matcher<const std::string&>(""));
}

TEST(ParseArgsDeathTest, LooksAtNothingAfterHelp) {
  const testing::Matcher<const std::string&> usage(kUsage);
  EXPECT_EXIT(parse_with_output_watched({"-h", "--what"}), testing::ExitedWithCode(0), usage);
  EXPECT_EXIT(parse_with_output_watched({"--help", "--ocr-dict"}), testing::ExitedWithCode(0),
              usage);
}

TEST(ParseArgsDeathTest, PrintsTheUsageTextWhateverTheInputMode) {
  EXPECT_EXIT(parse_with_output_watched({"--input-mode", "ROI", "-h"}), testing::ExitedWithCode(0),
              testing::Matcher<const std::string&>(kUsage));
}

TEST(ParseArgsDeathTest, ShowsDefaultsInTheUsageTextAlsoAfterOtherOptions) {
  EXPECT_EXIT(parse_with_output_watched({"--output-dir", "x", "-h"}), testing::ExitedWithCode(0),
              testing::Matcher<const std::string&>(kUsage));
}

TEST(ParseArgs, FailsBeforeItReachesHelp) {
  EXPECT_EQ(parse_failure({"--what", "-h"}), "unknown argument: --what");
}

TEST(CheckFile, NamesAFileThatIsMissing) {
  const TempDir dir;
  EXPECT_NO_THROW(check_file(dir.write("there", "")));
  const std::string missing = dir.path("missing");
  EXPECT_EQ(failure_of([&] { check_file(missing); }), "missing required file: " + missing);
}

// The files of a run in an empty directory, which a test fills as it likes.
class RequiredFiles : public testing::Test {
 protected:
  RequiredFiles() {
    for (const PathOption& option : kPathOptions) args_.*option.field = dir_.path(option.name);
  }

  void make(const std::string& option_name) { dir_.write(option_name, ""); }
  void make_all_but_the_detector() {
    for (const std::string& name : kOrder) make(name);
  }
  bool decide(const std::string& mode) {
    args_.input_mode = mode;
    return check_files_and_decide_use_plate_det(args_);
  }
  std::string failure(const std::string& mode) {
    return failure_of([&] { decide(mode); });
  }
  std::string missing(const std::string& option_name) {
    return "missing required file: " + dir_.path(option_name);
  }

  const std::vector<std::string> kOrder = {"--plate-corner-model", "--ppocr-det-model",
                                           "--ppocr-rec-model",    "--dict-region",
                                           "--ocr-dict",           "--input-list"};
  TempDir dir_;
  Args args_;
};

TEST_F(RequiredFiles, AreLookedForInOrderTheDetectorLast) {
  for (const std::string& name : kOrder) {
    for (const std::string mode : {"roi", "frame", "auto"}) {
      EXPECT_EQ(failure(mode), missing(name)) << mode;
    }
    make(name);
  }
  EXPECT_EQ(failure("frame"), missing("--plate-det-model"));
}

TEST_F(RequiredFiles, AreAllNeededThoughTheOthersAreThere) {
  for (const std::string& name : kOrder) {
    make_all_but_the_detector();
    std::filesystem::remove(dir_.path(name));
    EXPECT_EQ(failure("roi"), missing(name));
  }
}

TEST_F(RequiredFiles, LeaveTheDetectorOutInRoiMode) {
  make_all_but_the_detector();
  EXPECT_FALSE(decide("roi"));
  make("--plate-det-model");
  EXPECT_FALSE(decide("roi"));
}

TEST_F(RequiredFiles, IncludeTheDetectorInFrameMode) {
  make_all_but_the_detector();
  make("--plate-det-model");
  EXPECT_TRUE(decide("frame"));
}

TEST_F(RequiredFiles, DecideOnTheDetectorInAutoModeWithoutAWord) {
  make_all_but_the_detector();
  const kavrel_test::Capture err;
  EXPECT_FALSE(decide("auto"));
  make("--plate-det-model");
  EXPECT_TRUE(decide("auto"));
  EXPECT_EQ(err.text(), "");
}

TEST_F(RequiredFiles, NeedNoOutputDirectory) {
  make_all_but_the_detector();
  EXPECT_NO_THROW(decide("roi"));
  EXPECT_FALSE(dir_.exists("--output-dir"));
}

}  // namespace
}  // namespace kavrel
