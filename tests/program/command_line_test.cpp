#include "tests/program/program_fixture.h"
#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

using testing::EndsWith;

const std::vector<std::string> kValueOptions = {
    "--input-mode",      "--plate-det-model", "--plate-corner-model", "--ppocr-det-model",
    "--ppocr-rec-model", "--dict-region",     "--ocr-dict",           "--input-list",
    "--output-dir",      "--plate-det-thresh"};

class CommandLine : public ProgramTest {};

TEST_F(CommandLine, PrintsTheUsageAndDoesNothingElse) {
  const auto before = files();
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{"-h"},
                                             {"--help"},
                                             {"-h", "--no-such-option"},
                                             {"-h", "--ocr-dict"},
                                             {"--input-mode", "ROI", "-h"},
                                             {"--fail-on-error", "--help", "x"}}) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, kUsage);
    EXPECT_EQ(outcome.err, "");
  }
  EXPECT_EQ(files(), before);
}

TEST_F(CommandLine, PrintsTheUsageWithoutAnyFile) {
  for (const char* everything : {"models", "dict", "samples"}) remove(everything);
  EXPECT_EQ(run({"--help"}).status, 0);
}

TEST_F(CommandLine, RunsOnDefaultsWithoutAnyArgument) {
  const Outcome outcome = run();
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, start_up_lines("roi", 0));
  EXPECT_TRUE(exists(kOutput + "/FINAL_RESULT.json"));
}

TEST_F(CommandLine, RefusesAnOptionWithoutItsValue) {
  for (const std::string& option : kValueOptions) {
    EXPECT_THAT(run({option}), FailsWith("missing value for " + option));
    EXPECT_THAT(run({"--fail-on-error", option}), FailsWith("missing value for " + option));
  }
}

TEST_F(CommandLine, RefusesAnArgumentThatIsNoOption) {
  for (const std::string argument :
       {"x", "", " --help", "--Help", "-help", "--INPUT-MODE", "--input-mod", "--input-mode=roi",
        "--fail-on-error=true", "-i", "--", "-"}) {
    EXPECT_THAT(run({argument}), FailsWith("unknown argument: " + argument));
  }
}

TEST_F(CommandLine, ReadsArgumentsFromLeftToRightUpToTheFirstError) {
  EXPECT_THAT(run({"--bad", "-h"}), FailsWith("unknown argument: --bad"));
  EXPECT_THAT(run({"--bad", "--worse"}), FailsWith("unknown argument: --bad"));
  EXPECT_THAT(run({"--bad", "--ocr-dict"}), FailsWith("unknown argument: --bad"));
  EXPECT_THAT(run({"--fail-on-error", "x"}), FailsWith("unknown argument: x"));
}

TEST_F(CommandLine, TakesWhateverFollowsAsTheValue) {
  EXPECT_THAT(run({"--plate-corner-model", "--help"}), FailsWith("missing required file: --help"));
  EXPECT_THAT(run({"--ocr-dict", ""}), FailsWith("missing required file: "));
  EXPECT_THAT(run({"--input-list", "-h"}), FailsWith("missing required file: -h"));
}

TEST_F(CommandLine, LetsTheLastOfARepeatedOptionCount) {
  EXPECT_EQ(run({"--input-mode", "nonsense", "--input-mode", "roi"}).status, 0);
  EXPECT_THAT(run({"--ocr-dict", kOcrDictionary, "--ocr-dict", "gone"}),
              FailsWith("missing required file: gone"));
}

TEST_F(CommandLine, KnowsThreeInputModes) {
  for (const char* mode : {"ROI", "Frame", "", " roi", "roi ", "auto,roi"}) {
    EXPECT_THAT(run({"--input-mode", mode}), FailsWith("--input-mode must be roi, frame, or auto"));
  }
}

TEST_F(CommandLine, JudgesTheModeAfterAllArgumentsAndBeforeAnyFile) {
  remove(kCornerModel);
  EXPECT_THAT(run({"--input-mode", "x"}), FailsWith("--input-mode must be roi, frame, or auto"));
  EXPECT_THAT(run({"--input-mode", "x", "y"}), FailsWith("unknown argument: y"));
  EXPECT_THAT(run({"--input-mode", "x", "--ocr-dict"}), FailsWith("missing value for --ocr-dict"));
}

TEST_F(CommandLine, NamesTheFirstMissingFile) {
  const std::vector<std::string> required = {kCornerModel, kLinesModel,    kReaderModel,
                                             kRegionWords, kOcrDictionary, kCaseList};
  for (std::size_t i = required.size(); i-- > 0;) {
    remove(required[i]);
    const Outcome outcome = run({"--input-mode", "frame"});
    EXPECT_THAT(outcome, FailsWith("missing required file: " + required[i]));
    EXPECT_EQ(lines_of(outcome.err).size(), 1U);
  }
  EXPECT_FALSE(exists("output")) << "nothing is made before every file is there";
}

TEST_F(CommandLine, ReadsTheFilesThatTheOptionsName) {
  const std::vector<std::pair<std::string, std::string>> named = {
      {"--plate-corner-model", kCornerModel}, {"--ppocr-det-model", kLinesModel},
      {"--ppocr-rec-model", kReaderModel},    {"--dict-region", kRegionWords},
      {"--ocr-dict", kOcrDictionary},         {"--input-list", kCaseList}};
  std::vector<std::string> arguments = {"--output-dir", "elsewhere"};
  const std::string directory = "na'm\"ed\n$(touch hit) `touch hit`\xFF/";
  for (const auto& [option, path] : named) {
    write(directory + option, read(path));
    remove(path);
    arguments.insert(arguments.end(), {option, directory + option});
  }
  EXPECT_EQ(run(arguments).status, 0);
  EXPECT_TRUE(exists("elsewhere/summary.csv"));
  EXPECT_FALSE(exists("output"));
  EXPECT_FALSE(exists("hit")) << "a shell has read a name";
}

TEST_F(CommandLine, NeedsTheDetectorModelInFrameMode) {
  EXPECT_THAT(run({"--input-mode", "frame"}), FailsWith("missing required file: " + kPlateModel));
  EXPECT_THAT(run({"--input-mode", "frame", "--plate-det-model", "my.rknn"}),
              FailsWith("missing required file: my.rknn"));
}

TEST_F(CommandLine, GoesOnWithoutADetectorInAutoMode) {
  const Outcome outcome = run({"--input-mode", "auto"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, start_up_lines("auto", 0));
}

TEST_F(CommandLine, UsesADetectorThatIsThereInAutoMode) {
  write(kPlateModel, plate_detector_script(""));
  const Outcome outcome = run({"--input-mode", "auto"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, start_up_lines("auto", 0));
  EXPECT_EQ(count_calls("rknn_init", "plate"), 1);
}

TEST_F(CommandLine, NeverLooksAtTheDetectorInRoiMode) {
  write(kPlateModel, "this is no model");
  const Outcome outcome = run({"--input-mode", "roi"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, start_up_lines("roi", 0));
}

TEST_F(CommandLine, ReportsAnOutputDirectoryThatCannotBeMade) {
  EXPECT_THAT(run({"--output-dir", kCaseList + "/out"}),
              FailsWith("mkdir failed: " + kCaseList + "/out"));
  write("out/cases", "a file where a directory must be");
  EXPECT_THAT(run({"--output-dir", "out"}), FailsWith("mkdir failed: out/cases"));
}

TEST_F(CommandLine, TakesTheOutputDirectoryVerbatim) {
  for (const std::string directory :
       {"it's $HOME; \"here\" `touch hit`", "a//b/../c/.", "日本 語", "back\\slash*?", "two\nlines",
        "$(touch hit)", "'; touch hit; '", "\xFF\xFE", "./-p"}) {
    const Outcome outcome = run({"--output-dir", directory});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, EndsWith("\nsummary=" + directory + "/summary.csv\n"));
    EXPECT_EQ(files(directory).size(), 3U) << directory;
  }
  EXPECT_FALSE(exists("hit")) << "a shell has read a name";
}

TEST_F(CommandLine, FailsWithMkdirOnAnOutputDirectoryThatLooksLikeAnOption) {
  EXPECT_THAT(run({"--output-dir", "-x"}), FailsWith("mkdir failed: -x"));
}

// One box of score `score`; the run reports whether it passed the threshold by the fallback line.
class Threshold : public ProgramTest {
 protected:
  bool passes(const std::string& score, const std::vector<std::string>& threshold) {
    write(kPlateModel, plate_detector_script("answer * 0 floats 50 50 90 90 " + score +
                                             " 0\n"
                                             "answer * 0 fill 18 -9\n"));
    write(kCaseList, "a.png\n");
    write_image("a.png", gradient_image(100, 100));
    std::vector<std::string> arguments = {"--input-mode", "frame"};
    arguments.insert(arguments.end(), threshold.begin(), threshold.end());
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return lines_with(outcome.err, "[WARN] plate_det").empty();
  }
};

TEST_F(Threshold, IsAQuarterUnlessTold) {
  EXPECT_TRUE(passes("0.25", {}));
  EXPECT_FALSE(passes("0.2499", {}));
}

TEST_F(Threshold, IsTheNumberAtTheFrontOfTheValue) {
  const auto passes_at = [this](const std::string& value, const std::string& score) {
    return passes(score, {"--plate-det-thresh", value});
  };
  EXPECT_TRUE(passes_at("0.5", "0.5"));
  EXPECT_FALSE(passes_at("0.5", "0.4999"));
  EXPECT_TRUE(passes_at("abc", "0.0001"));
  EXPECT_FALSE(passes_at("abc", "-0.0001"));
  EXPECT_TRUE(passes_at("", "0"));
  EXPECT_TRUE(passes_at("-1", "-0.5"));
  EXPECT_FALSE(passes_at("2", "1"));
  EXPECT_TRUE(passes_at(" 3e-1x", "0.3"));
  EXPECT_FALSE(passes_at(" 3e-1x", "0.2999"));
  EXPECT_TRUE(passes_at("0.1", "0.1")) << "compared in single precision";
}

}  // namespace
}  // namespace kavrel_test
