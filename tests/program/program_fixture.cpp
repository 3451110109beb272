#include "tests/program/program_fixture.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>

#include "tests/support/pictures.h"

namespace kavrel_test {
namespace {

namespace fs = std::filesystem;
using testing::UnorderedElementsAre;

void redirect(int descriptor, const fs::path& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  if (file < 0 || dup2(file, descriptor) < 0) _exit(126);
}

// Another program may stand in for the built one, such as one that compares two builds of it.
std::string program() {
  const char* other = std::getenv("KAVREL_TEST_PROGRAM");
  return other ? other : KAVREL_PROGRAM;
}

void use_scripted_runtime(const fs::path& log, const fs::path& inputs) {
  const char* inherited = std::getenv("LD_LIBRARY_PATH");
  std::string path = SCRIPTED_RUNTIME_DIR;
  if (inherited && *inherited) path += std::string(":") + inherited;
  setenv("LD_LIBRARY_PATH", path.c_str(), 1);
  setenv("SCRIPTED_RKNNRT_LOG", log.c_str(), 1);
  if (fs::exists(inputs)) setenv("SCRIPTED_RKNNRT_INPUTS", inputs.c_str(), 1);
}

std::string model_lines(const std::string& path, const std::string& input,
                        const std::string& output) {
  return "[RKNN] " + path + "\n  input[0] name=image dims=" + input +
         " type=3 fmt=1\n  output[0] " + output + " type=0 fmt=3\n";
}

}  // namespace

ProgramTest::ProgramTest() : work_(root_.path("work")) {
  fs::create_directory(work_);
  write(kCornerModel, corner_script());
  write(kLinesModel, line_detector_script());
  write(kReaderModel, reader_script(reads_every_plate(kShinagawa)));
  write(kRegionWords, "品川\n横浜\n");
  write(kOcrDictionary, as_lines(ocr_dictionary()));
  write(kCaseList, "");
}

Outcome ProgramTest::run(const std::vector<std::string>& arguments) const {
  std::vector<std::string> words = {program()};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return run_other(words);
}

Outcome ProgramTest::run_other(std::vector<std::string> words) const {
  fs::remove(root_.path("calls"));
  std::vector<char*> argv;
  for (std::string& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);

  const pid_t child = fork();
  if (child == 0) {
    redirect(STDOUT_FILENO, root_.path("out"));
    redirect(STDERR_FILENO, root_.path("err"));
    use_scripted_runtime(root_.path("calls"), root_.path("inputs"));
    if (chdir(work_.c_str()) == 0) execv(argv.front(), argv.data());
    _exit(127);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) throw std::runtime_error("no process");
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), root_.read("out"),
          root_.read("err")};
}

Outcome ProgramTest::run_keeping_inputs(const std::vector<std::string>& arguments) const {
  fs::remove_all(root_.path("inputs"));
  fs::create_directory(root_.path("inputs"));
  return run(arguments);
}

std::vector<cv::Mat> ProgramTest::inputs(const std::string& label, const cv::Size& size) const {
  std::vector<std::string> bytes;
  for (int run = 1; root_.exists("inputs/" + label + "." + std::to_string(run)); ++run) {
    bytes.push_back(root_.read("inputs/" + label + "." + std::to_string(run)));
  }
  std::vector<cv::Mat> pictures;
  for (const cv::Mat& rgb : inputs_of(bytes, size)) pictures.push_back(channels_reversed(rgb));
  return pictures;
}

void ProgramTest::write(const std::string& path, const std::string& text) const {
  fs::create_directories((work_ / path).parent_path());
  write_file(work_ / path, text);
}

void ProgramTest::write_image(const std::string& path, const cv::Mat& image) const {
  std::vector<uchar> bytes;
  cv::imencode(".png", image, bytes);
  write(path, {bytes.begin(), bytes.end()});
}

std::string ProgramTest::read(const std::string& path) const { return read_file(work_ / path); }

cv::Mat ProgramTest::picture(const std::string& path) const { return decoded(read(path)); }

testing::AssertionResult ProgramTest::shows(const std::string& path, const cv::Mat& image) const {
  if (!exists(path)) return testing::AssertionFailure() << path << " is not there";
  if (read(path) == jpeg_of(image)) return testing::AssertionSuccess();
  const cv::Mat shown = picture(path);
  return testing::AssertionFailure() << path << " of size " << shown.size()
                                     << " is not the expected picture of " << image.size();
}

void ProgramTest::remove(const std::string& path) const { fs::remove_all(work_ / path); }

bool ProgramTest::exists(const std::string& path) const { return fs::exists(work_ / path); }

void ProgramTest::make_directory(const std::string& path) const {
  fs::create_directories(work_ / path);
}

void ProgramTest::link_to(const std::string& target, const std::string& path) const {
  fs::create_directories((work_ / path).parent_path());
  fs::create_symlink(target, work_ / path);
}

std::vector<std::string> ProgramTest::files(const std::string& directory) const {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(work_ / directory)) {
    if (!entry.is_directory()) {
      names.push_back(entry.path().lexically_relative(work_ / directory).string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> ProgramTest::calls() const {
  return root_.exists("calls") ? lines_of(root_.read("calls")) : std::vector<std::string>();
}

std::vector<std::string> ProgramTest::calls_up_to_corners() const {
  std::vector<std::string> calls = load_calls("corner", read(kCornerModel).size());
  append(calls, load_calls("lines", read(kLinesModel).size()));
  append(calls, load_calls("reader", read(kReaderModel).size()));
  append(calls, inference_calls("corner", kCornerInput));
  return calls;
}

void ProgramTest::expect_calls_and_releases(const std::vector<std::string>& expected) const {
  auto made = calls();
  ASSERT_EQ(made.size(), expected.size() + 3);
  EXPECT_THAT(std::vector<std::string>(made.end() - 3, made.end()),
              UnorderedElementsAre("rknn_destroy corner ret=0", "rknn_destroy lines ret=0",
                                   "rknn_destroy reader ret=0"));
  made.resize(expected.size());
  EXPECT_EQ(made, expected);
}

long ProgramTest::count_calls(const std::string& function, const std::string& label) const {
  const auto all = calls();
  const std::string start = function + " " + label + " ";
  return std::count_if(all.begin(), all.end(),
                       [&](const std::string& line) { return line.rfind(start, 0) == 0; });
}

void ProgramTest::list_cases(const std::string& lines,
                             const std::vector<std::string>& images) const {
  write(kCaseList, lines);
  for (const std::string& image : images) write_image(image, gradient_image(40, 20));
}

std::string ProgramTest::start_up_lines(const std::string& mode, int cases) const {
  const bool detects = mode == "frame" || (mode == "auto" && exists(kPlateModel));
  const std::string entries = std::to_string(ocr_dictionary().size());
  const std::string classes = std::to_string(ocr_dictionary().size() + 1);
  const std::string elements = std::to_string((ocr_dictionary().size() + 1) * kSteps);
  std::string lines = "[INFO] input_mode=" + mode +
                      "\n[INFO] use_plate_det=" + (detects ? "true" : "false") +
                      "\n[INFO] cases=" + std::to_string(cases) +
                      "\n[INFO] region_words=2\n[INFO] ocr_chars_loaded=" + entries + "\n";
  if (detects) {
    lines += model_lines(kPlateModel, "[1,3,320,416]", "name=boxes dims=[1,4,6] elems=24");
  }
  lines += model_lines(kCornerModel, "[1,128,256,3]", "name=corners dims=[1,8] elems=8");
  lines += model_lines(kLinesModel, "[1,640,640,3]", "name=map dims=[1,1,64,64] elems=4096");
  lines += model_lines(kReaderModel, "[1,48,320,3]",
                       "name=steps dims=[1,16," + classes + "] elems=" + elements);
  return lines + "[INFO] rec_classes=" + classes + " ocr_chars_after_shape_check=" + entries +
         " expected_chars=" + entries + "\n";
}

std::vector<std::string> lines_with(const std::string& text, const std::string& prefix) {
  std::vector<std::string> lines = lines_of(text);
  const auto other = [&](const std::string& line) { return line.rfind(prefix, 0) != 0; };
  lines.erase(std::remove_if(lines.begin(), lines.end(), other), lines.end());
  return lines;
}

std::string last_line(const std::string& text) {
  const std::vector<std::string> lines = lines_of(text);
  return lines.empty() ? "" : lines.back();
}

std::vector<std::string> inference_calls(const std::string& label, const cv::Size& size) {
  return {"rknn_inputs_set " + label + " n=1 [index=0 size=" + std::to_string(3 * size.area()) +
              " pass_through=0 type=3 fmt=1 rest=clear] ret=0",
          "rknn_run " + label + " extend=null ret=0",
          "rknn_outputs_get " + label +
              " extend=null n=1 [index=0 want_float=1 is_prealloc=0 rest=clear] ret=0",
          "rknn_outputs_release " + label + " n=1 buffers=own ret=0"};
}

std::vector<std::string> load_calls(const std::string& label, std::size_t bytes) {
  return {"rknn_init " + label + " size=" + std::to_string(bytes) + " flag=0 extend=null ret=0",
          "rknn_query " + label + " cmd=0 size=8 record=clear ret=0",
          "rknn_query " + label + " cmd=1 index=0 size=376 record=clear ret=0",
          "rknn_query " + label + " cmd=2 index=0 size=376 record=clear ret=0"};
}

void append(std::vector<std::string>& lines, const std::vector<std::string>& more) {
  lines.insert(lines.end(), more.begin(), more.end());
}

}  // namespace kavrel_test
