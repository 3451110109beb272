// What a case costs: kavrel on a runtime whose answers cost nothing against the floor program, how
// that grows with the number of cases, and the share of the networks when they are real.
//
// Times are CPU times but for the shares; figures that are compared come from runs that alternate.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "dictionary.h"
#include "kana/kana_alphabet.h"
#include "scene.h"
#include "support/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using kavrel_test::read_file;
using kavrel_test::TempDir;
using kavrel_test::write_file;
using Figures = std::map<std::string, double>;  // what the meter wrote

// Whether the recogniser shows the kana, or all candidates of the kana search are read.
enum class Kana { kShown, kSearched };

const char* name_of(Kana kana) { return kana == Kana::kShown ? "without" : "with"; }

[[noreturn]] void become(const std::vector<std::string>& command, const std::string& runtime_dir,
                         const fs::path& figures) {
  const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
  dup2(nowhere, STDOUT_FILENO);
  dup2(nowhere, STDERR_FILENO);
  setenv("LD_LIBRARY_PATH", runtime_dir.c_str(), 1);
  setenv("LD_PRELOAD", METER_LIBRARY, 1);
  setenv("KAVREL_METER", figures.c_str(), 1);
  std::vector<char*> arguments;
  for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execv(arguments[0], arguments.data());
  _exit(127);
}

// Runs a program under the meter.
Figures measure(const std::vector<std::string>& command, const std::string& runtime_dir,
                const fs::path& scratch) {
  const fs::path path = scratch / "figures";
  const pid_t child = fork();
  if (child == 0) become(command, runtime_dir, path);
  int status = 0;
  waitpid(child, &status, 0);
  if (status != 0) throw std::runtime_error(command[0] + " failed");
  Figures figures;
  std::ifstream file(path);
  std::string key;
  for (double value = 0; file >> key >> value;) figures[key] = value;
  return figures;
}

// `cases` frames, all the sample, as the two programs list them. Names come again after a while, so
// that long lists do not fill the disk.
void make_list(const fs::path& scratch, int cases) {
  constexpr int kNames = 50;
  fs::create_directories(scratch / "frames");
  std::string csv = "image_path,expected,group_id\n";
  std::string lines;
  for (int i = 0; i < cases; ++i) {
    const fs::path frame = scratch / "frames" / ("case_" + std::to_string(i % kNames) + ".jpg");
    if (!fs::exists(frame)) fs::create_symlink(fs::absolute(bench::kSampleImage), frame);
    csv += frame.string() + ",品川 330 あ 12-34,car_" + std::to_string(i / 4) + "\n";
    lines += frame.string() + "\n";
  }
  write_file(scratch / "list.csv", csv);
  write_file(scratch / "list.txt", lines);
}

std::string numbers(const std::vector<float>& values) {
  std::string text;
  for (const float value : values) text += " " + std::to_string(value);
  return text;
}

std::string plate_det_script() {
  const std::string side = std::to_string(bench::kPlateDetSide);
  const auto left = static_cast<float>(bench::kPlate.x);
  const auto top = static_cast<float>(bench::kPlate.y);
  const auto right = static_cast<float>(bench::kPlate.br().x - 1);
  const auto bottom = static_cast<float>(bench::kPlate.br().y - 1);
  return "name plate\ninput image 1,3," + side + "," + side +
         "\noutput boxes 1,1,6\nanswer * 0 floats" +
         numbers({0, bench::kPlateScore, left, top, right, bottom}) + "\n";
}

std::string corner_script() {
  std::vector<float> values;
  for (const cv::Point2f& corner : bench::kCorners) {
    values.push_back(corner.x);
    values.push_back(corner.y);
  }
  return "name corner\ninput image 1,3,128,256\noutput corners 1,8\nanswer * 0 floats" +
         numbers(values) + "\n";
}

std::string text_det_script() {
  const std::string side = std::to_string(bench::kMapSide);
  std::string script = "name lines\ninput image 1,3,640,640\noutput map 1,1," + side + "," + side +
                       "\nanswer * 0 fill " + std::to_string(bench::kMapSide * bench::kMapSide) +
                       " 0\n";
  for (const cv::Rect& line : bench::kTextLines) {
    script += "answer * 0 rect " + std::to_string(line.x) + " " + std::to_string(line.y) + " " +
              std::to_string(line.width) + " " + std::to_string(line.height) + " " +
              std::to_string(bench::kTextProbability) + "\n";
  }
  return script;
}

std::string text_rec_script(const std::vector<std::string>& dictionary, Kana kana) {
  const std::string classes = std::to_string(dictionary.size() + 1);
  std::string script = "name reader\ninput image 1,3,48,320\noutput steps 1," +
                       std::to_string(bench::kSteps) + "," + classes + "\nanswer * 0 steps " +
                       classes;
  const std::string text = kana == Kana::kShown ? "品川330あ12-34" : "品川330-12-34";
  for (const int index : bench::classes_of(text, dictionary)) script += " " + std::to_string(index);
  return script + "\n";
}

// The four models of a run and the dictionary that fits.
void make_models(const fs::path& scratch, int classes, Kana kana) {
  const std::vector<std::string> dictionary = bench::make_dictionary(classes);
  std::string lines;
  for (const std::string& entry : dictionary) lines += entry + "\n";
  write_file(scratch / "dict.txt", lines);
  write_file(scratch / "plate_det", plate_det_script());
  write_file(scratch / "plate_corner", corner_script());
  write_file(scratch / "text_det", text_det_script());
  write_file(scratch / "text_rec", text_rec_script(dictionary, kana));
}

Figures run_kavrel(const fs::path& scratch, int cases) {
  make_list(scratch, cases);
  return measure(
      {KAVREL_PROGRAM, "--input-mode", "frame", "--plate-det-model", scratch / "plate_det",
       "--plate-corner-model", scratch / "plate_corner", "--ppocr-det-model", scratch / "text_det",
       "--ppocr-rec-model", scratch / "text_rec", "--ocr-dict", scratch / "dict.txt",
       "--dict-region", "dict/region_words.txt", "--input-list", scratch / "list.csv",
       "--output-dir", scratch / "kavrel"},
      FREE_RUNTIME_DIR, scratch);
}

// With a number of classes the floor takes the networks' outputs, too.
Figures run_floor(const fs::path& scratch, int cases, Kana kana, int classes) {
  make_list(scratch, cases);
  fs::create_directories(scratch / "floor" / "cases");
  return measure({FLOOR_PROGRAM, scratch / "list.txt", scratch / "floor", name_of(kana),
                  std::to_string(classes)},
                 FREE_RUNTIME_DIR, scratch);
}

// A floor that writes other pictures than kavrel would be none.
void require_equal_pictures(const fs::path& scratch) {
  int count = 0;
  for (const auto& entry : fs::directory_iterator(scratch / "kavrel/cases/case_0")) {
    if (entry.path().extension() != ".jpg") continue;
    ++count;
    const fs::path twin = scratch / "floor/cases/case_0" / entry.path().filename();
    if (read_file(entry.path()) != read_file(twin)) {
      throw std::runtime_error("the floor's picture differs: " + twin.string());
    }
  }
  std::printf("  The floor writes the same %d pictures, byte for byte.\n", count);
}

// The times of a program in several runs. What else the machine does only adds to them, so the
// least ones count.
struct Times {
  double case_ms = std::numeric_limits<double>::max();
  double pictures_ms = case_ms;  // of a case, spent in writing pictures
  double shell_ms = case_ms;     // beside a case, in the shell that makes its directory

  void add(const Figures& run, int cases) {
    case_ms = std::min(case_ms, 1000 * run.at("case_cpu_s"));
    pictures_ms = std::min(pictures_ms, 1000 * run.at("pictures_cpu_s") / cases);
    shell_ms = std::min(shell_ms, 1000 * run.at("shell_s") / cases);
  }
};

void compare_with_floor(int classes, Kana kana) {
  constexpr int kRounds = 15;
  const int cases = kana == Kana::kShown ? 30 : 10;
  const TempDir scratch;
  make_models(scratch.path(), classes, kana);
  Times kavrel, floor, floor_with_outputs;
  for (int round = 0; round < kRounds; ++round) {
    kavrel.add(run_kavrel(scratch.path(), cases), cases);
    floor.add(run_floor(scratch.path(), cases, kana, 0), cases);
    floor_with_outputs.add(run_floor(scratch.path(), cases, kana, classes), cases);
  }
  std::printf("%s the kana search, %d classes: kavrel / floor = %.3f, with outputs %.3f\n",
              name_of(kana), classes, kavrel.case_ms / floor.case_ms,
              kavrel.case_ms / floor_with_outputs.case_ms);
  std::printf(
      "  CPU a case: kavrel %.2f ms, floor %.2f ms (%.2f ms picture writing), with outputs\n"
      "  %.2f ms; beside it the shell that makes the directory %.2f ms\n",
      kavrel.case_ms, floor.case_ms, floor.pictures_ms, floor_with_outputs.case_ms,
      kavrel.shell_ms);
  require_equal_pictures(scratch.path());
}

void show_growth(int classes, Kana kana, const std::vector<int>& counts) {
  const TempDir scratch;
  make_models(scratch.path(), classes, kana);
  std::printf("%s the kana search, %d classes:\n", name_of(kana), classes);
  Figures first;
  for (const int cases : counts) {
    const Figures figures = run_kavrel(scratch.path(), cases);
    if (first.empty()) first = figures;
    const double more = std::max(cases - counts.front(), 1);
    std::printf("  %4d cases: CPU %.2f ms a case, peak %.1f MiB, page faults %.0f a case", cases,
                1000.0 * figures.at("cpu_s") / cases, figures.at("peak_kib") / 1024,
                figures.at("page_faults") / cases);
    std::printf("; peak over the first row: %.0f bytes a case\n",
                1024 * (figures.at("peak_kib") - first.at("peak_kib")) / more);
  }
}

// Every step-th frame of the street samples; returns their number.
int make_street_list(const fs::path& path, int step) {
  std::ifstream samples("samples/street/street_expected.csv");
  std::string line;
  std::getline(samples, line);
  std::string csv = line + "\n";
  int frames = 0;
  for (int i = 0; std::getline(samples, line); ++i) {
    if (i % step != 0) continue;
    csv += line + "\n";
    ++frames;
  }
  write_file(path, csv);
  return frames;
}

// Our recogniser's dictionary; without kana in it no reading shows one, and all are searched.
void make_street_dictionary(const fs::path& path, Kana kana) {
  std::ifstream entries("dict/plate_rec_dict.txt");
  std::string lines;
  for (std::string entry; std::getline(entries, entry);) {
    const bool hidden = kana == Kana::kSearched && kavrel::is_valid_plate_kana_string(entry);
    lines += (hidden ? "*" : entry) + "\n";
  }
  write_file(path, lines);
}

void show_shares(Kana kana, int step) {
  const TempDir scratch;
  const int frames = make_street_list(scratch.path("list.csv"), step);
  make_street_dictionary(scratch.path("dict.txt"), kana);
  const Figures figures = measure(
      {KAVREL_PROGRAM, "--input-mode", "frame", "--plate-det-model",
       "models/reference/plate_det.onnx", "--plate-corner-model",
       "models/reference/plate_corner.onnx", "--ppocr-det-model",
       "models/reference/plate_text.onnx", "--ppocr-rec-model", "models/reference/plate_rec.onnx",
       "--ocr-dict", scratch.path("dict.txt"), "--dict-region", "dict/region_words.txt",
       "--input-list", scratch.path("list.csv"), "--output-dir", scratch.path("kavrel")},
      HOST_RUNTIME_DIR, scratch.path());
  // Of wall or CPU time, in percent: what is in the runtime, without and with picture writing.
  const auto share = [&figures](const char* clock) {
    const double runtime = figures.at(std::string("runtime_") + clock);
    const double all = figures.at(std::string("cases_") + clock);
    return std::make_pair(100 * runtime / (all - figures.at(std::string("pictures_") + clock)),
                          100 * runtime / all);
  };
  const auto [wall, wall_of_all] = share("s");
  const auto [cpu, cpu_of_all] = share("cpu_s");
  std::printf("%s the kana search, %d frames: inference is %.1f %% of the wall time outside of\n",
              name_of(kana), frames, wall);
  std::printf("  picture writing (with it %.1f %%), %.1f %% of the CPU time (with it %.1f %%)\n",
              wall_of_all, cpu, cpu_of_all);
  std::printf(
      "  A frame takes %.1f ms in the runtime, %.1f ms in picture writing and %.1f ms else.\n",
      1000 * figures.at("runtime_s") / frames, 1000 * figures.at("pictures_s") / frames,
      1000 * (figures.at("cases_s") - figures.at("runtime_s") - figures.at("pictures_s")) / frames);
}

void show_floor() {
  std::puts("== CPU time against the floor");
  for (const Kana kana : {Kana::kShown, Kana::kSearched}) {
    for (const int classes : {250, 6906, 18385}) compare_with_floor(classes, kana);
  }
}

void show_growths() {
  std::puts("\n== Growth with the number of cases");
  show_growth(6906, Kana::kShown, {10, 100, 1000});
  show_growth(6906, Kana::kSearched, {10, 100});
}

void show_networks() {
  std::puts("\n== Share of the networks");
  show_shares(Kana::kShown, 1);
  show_shares(Kana::kSearched, 5);
}

struct Section {
  const char* name;
  void (*show)();
};
constexpr std::array<Section, 3> kSections = {
    {{"floor", show_floor}, {"growth", show_growths}, {"networks", show_networks}}};

// All sections, or the one of this name.
void run(const std::string& name) {
  const auto is_wanted = [&](const Section& section) {
    return name.empty() || name == section.name;
  };
  if (std::none_of(kSections.begin(), kSections.end(), is_wanted)) {
    throw std::runtime_error("sections are floor, growth and networks");
  }
  for (const Section& section : kSections) {
    if (is_wanted(section)) section.show();
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  try {
    fs::current_path(SOURCE_DIR);
    run(argc > 1 ? argv[1] : "");
  } catch (const std::exception& error) {
    std::fprintf(stderr, "case_cost: %s\n", error.what());
    return 1;
  }
}
