// What a case costs in CPU time: kavrel by itself, on networks whose answers are ready, against the
// writing of its pictures and against the same program on real networks; and how that grows with
// the number of cases. What else the machine does only adds to a time, so of several runs, which
// alternate, the least one counts.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <limits>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using kavrel_test::lines_of;
using kavrel_test::read_file;
using kavrel_test::TempDir;
using kavrel_test::write_file;

constexpr const char* kFrame = "samples/street/car05_f02.jpg";  // 960 x 540
constexpr const char* kDictionary = "dict/plate_rec_dict.txt";

struct Cost {
  double cpu_ms = std::numeric_limits<double>::max();
  double peak_mib = 0;
};

double milliseconds(const timeval& time) {
  return 1e3 * static_cast<double>(time.tv_sec) + 1e-3 * static_cast<double>(time.tv_usec);
}

// Runs kavrel, with all that it starts, and throws if it fails.
Cost run_kavrel(const std::string& runtime_dir, std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), KAVREL_PROGRAM);
  std::vector<char*> argv;
  for (std::string& word : arguments) argv.push_back(word.data());
  argv.push_back(nullptr);
  const pid_t child = fork();
  if (child == 0) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    dup2(nowhere, STDERR_FILENO);
    setenv("LD_LIBRARY_PATH", runtime_dir.c_str(), 1);
    execv(argv[0], argv.data());
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  if (status != 0) throw std::runtime_error("kavrel failed");
  return {milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime),
          static_cast<double>(usage.ru_maxrss) / 1024};
}

// The frame, so many times over. Names come again after a while, so that long lists do not fill the
// disk.
void write_list(const fs::path& scratch, int cases) {
  constexpr int kNames = 50;
  std::string list;
  for (int i = 0; i < cases; ++i) {
    const fs::path frame = scratch / ("case_" + std::to_string(i % kNames) + ".jpg");
    if (!fs::exists(frame)) fs::create_symlink(fs::absolute(kFrame), frame);
    list += frame.string() + ",品川 330 あ 12-34,car_" + std::to_string(i / 4) + "\n";
  }
  write_file(scratch / "list.csv", list);
}

// The recogniser's answer that reads this text: a row of `classes` scores for each character.
std::string steps_of(const std::string& text, const std::vector<std::string>& dictionary) {
  std::string steps = std::to_string(dictionary.size() + 1);
  for (std::size_t at = 0; at < text.size();) {
    const auto entry = std::find_if(dictionary.begin(), dictionary.end(), [&](const auto& known) {
      return text.compare(at, known.size(), known) == 0;
    });
    if (entry == dictionary.end()) throw std::runtime_error("no class reads " + text.substr(at));
    steps += " " + std::to_string(entry - dictionary.begin() + 1) + " 0";
    at += entry->size();
  }
  return steps;
}

// One plate, its corners and two lines of text. Without a kana in them it is searched for.
void write_models(const fs::path& scratch, const std::string& text) {
  const std::vector<std::string> dictionary = lines_of(read_file(kDictionary));
  const std::string classes = std::to_string(dictionary.size() + 1);
  write_file(scratch / "plate_det",
             "name plate\ninput image 1,3,640,640\noutput boxes 1,1,6\n"
             "answer * 0 floats 207 37 398 139 0.9 0\n");
  write_file(scratch / "plate_corner",
             "name corner\ninput image 1,3,128,256\noutput corners 1,8\n"
             "answer * 0 floats 0.06 0.14 0.92 0.06 0.95 0.86 0.08 0.94\n");
  write_file(scratch / "text_det",
             "name lines\ninput image 1,3,640,640\noutput map 1,1,640,640\n"
             "answer * 0 fill 409600 0\nanswer * 0 rect 190 70 248 87 0.9\n"
             "answer * 0 rect 90 280 442 207 0.9\n");
  write_file(scratch / "text_rec", "name reader\ninput image 1,3,48,320\noutput steps 1,40," +
                                       classes + "\nanswer * 0 steps " +
                                       steps_of(text, dictionary) + "\n");
}

Cost run_on_ready_answers(const TempDir& scratch, int cases) {
  write_list(scratch.path(), cases);
  return run_kavrel(SCRIPTED_RUNTIME_DIR,
                    {"--input-mode", "frame", "--plate-det-model", scratch.path("plate_det"),
                     "--plate-corner-model", scratch.path("plate_corner"), "--ppocr-det-model",
                     scratch.path("text_det"), "--ppocr-rec-model", scratch.path("text_rec"),
                     "--ocr-dict", kDictionary, "--input-list", scratch.path("list.csv"),
                     "--output-dir", scratch.path("output")});
}

Cost run_on_networks(const TempDir& scratch, int cases) {
  write_list(scratch.path(), cases);
  return run_kavrel(
      HOST_RUNTIME_DIR,
      {"--input-mode", "frame", "--plate-det-model", "models/reference/plate_det.onnx",
       "--plate-corner-model", "models/reference/plate_corner.onnx", "--ppocr-det-model",
       "models/reference/plate_text.onnx", "--ppocr-rec-model", "models/reference/plate_rec.onnx",
       "--ocr-dict", kDictionary, "--input-list", scratch.path("list.csv"), "--output-dir",
       scratch.path("networks")});
}

// Writes the pictures of a case again, in another place.
double rewrite_pictures_ms(const TempDir& scratch) {
  std::vector<cv::Mat> pictures;
  for (const auto& file : fs::directory_iterator(scratch.path("output/cases/case_0"))) {
    if (file.path().extension() == ".jpg") {
      pictures.push_back(cv::imread(file.path(), cv::IMREAD_UNCHANGED));
    }
  }
  const std::clock_t start = std::clock();
  for (std::size_t i = 0; i < pictures.size(); ++i) {
    cv::imwrite(scratch.path(std::to_string(i) + ".jpg"), pictures[i]);
  }
  return 1e3 * static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

// Of several runs: of a case the first costs more, so all cases but one are counted.
double case_ms(const TempDir& scratch, int cases) {
  const double one = run_on_ready_answers(scratch, 1).cpu_ms;
  return (run_on_ready_answers(scratch, cases).cpu_ms - one) / (cases - 1);
}

void show_case(const char* title, const std::string& text) {
  constexpr int kRounds = 5;
  const TempDir scratch;
  write_models(scratch.path(), text);
  double own = std::numeric_limits<double>::max();
  double pictures = own;
  for (int round = 0; round < kRounds; ++round) {
    own = std::min(own, case_ms(scratch, 20));
    pictures = std::min(pictures, rewrite_pictures_ms(scratch));
  }
  std::printf("%s: %.1f ms a case without the networks, %.2f of them for writing its pictures\n",
              title, own, pictures / own);
}

void show_networks() {
  constexpr int kRounds = 3;
  const TempDir scratch;
  write_models(scratch.path(), "品川330あ12-34");
  double own = std::numeric_limits<double>::max();
  double all = own;
  for (int round = 0; round < kRounds; ++round) {
    own = std::min(own, case_ms(scratch, 20));
    const double one = run_on_networks(scratch, 1).cpu_ms;
    all = std::min(all, (run_on_networks(scratch, 11).cpu_ms - one) / 10);
  }
  std::printf("With our networks: %.0f ms a case, %.3f of them without the networks\n", all,
              own / all);
}

void show_growth() {
  const TempDir scratch;
  write_models(scratch.path(), "品川330あ12-34");
  const Cost few = run_on_ready_answers(scratch, 50);
  const Cost many = run_on_ready_answers(scratch, 1000);
  std::printf("1,000 cases: %.2f of the CPU time a case of 50, %.1f MiB more memory\n",
              many.cpu_ms / 1000 / (few.cpu_ms / 50), many.peak_mib - few.peak_mib);
}

}  // namespace

int main() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  try {
    fs::current_path(SOURCE_DIR);
    cv::setNumThreads(1);
    show_case("Kana read", "品川330あ12-34");
    show_case("Kana searched for", "品川330-12-34");
    show_networks();
    show_growth();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "case_cost: %s\n", error.what());
    return 1;
  }
}
