#include "app/args.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "app/base/files.h"

namespace kavrel {
namespace {

void print_usage() {
  std::cout << "Usage: kavrel [options]\n";
  for (const Option& option : kOptions) {
    if (!option.in_usage) continue;
    std::cout << "  " << option.name << ' '
              << (option.choices != nullptr ? option.choices : default_of(option)) << '\n';
  }
}

// Walks the command line; a value is consumed together with its option.
class ArgumentCursor {
 public:
  ArgumentCursor(int argc, const char* const* argv) : argc_(argc), argv_(argv) {}

  bool at_end() const { return index_ >= argc_; }
  std::string next() { return argv_[index_++]; }
  std::string value_of(const std::string& option) {
    if (at_end()) throw std::runtime_error("missing value for " + option);
    return next();
  }

 private:
  int argc_;
  const char* const* argv_;
  int index_ = 1;
};

// Does what the option that was typed as `argument` asks for.
struct Effect {
  const std::string& argument;
  ArgumentCursor& cursor;
  Args& args;

  void operator()(std::string Args::*text) const { args.*text = cursor.value_of(argument); }
  // Not validated: a text that is no number counts as 0.
  void operator()(float Args::*number) const {
    const std::string value = cursor.value_of(argument);
    args.*number = static_cast<float>(std::atof(value.c_str()));  // NOLINT(cert-err34-c)
  }
  void operator()(bool Args::*flag) const { args.*flag = true; }
  void operator()(ShowUsage /*asked*/) const {
    print_usage();
    std::exit(0);
  }
};

void apply_argument(const std::string& argument, ArgumentCursor& cursor, Args& args) {
  const auto option = std::find_if(kOptions.begin(), kOptions.end(), [&](const Option& known) {
    return argument == known.name || (known.short_name != nullptr && argument == known.short_name);
  });
  if (option == kOptions.end()) throw std::runtime_error("unknown argument: " + argument);
  std::visit(Effect{argument, cursor, args}, option->effect);
}

bool decide_use_plate_det(const Args& args) {
  if (args.input_mode == "auto") return file_exists(args.plate_det_model);
  return args.input_mode == "frame";
}

}  // namespace

// The usage text leaves options out; scripts compare it whole.
const std::array<Option, 12> kOptions = {{
    {"--input-mode", nullptr, &Args::input_mode, "roi|frame|auto", true,
     "roi: each picture is a plate; frame: find the plate first; auto: as frame if the detector's "
     "file is there, else as roi"},
    {"--plate-det-model", nullptr, &Args::plate_det_model, nullptr, true,
     "plate detector, any input size; needed only where it is used"},
    {"--plate-corner-model", nullptr, &Args::plate_corner_model, nullptr, true,
     "plate corners, input 256 x 128"},
    {"--ppocr-det-model", nullptr, &Args::ppocr_det_model, nullptr, true,
     "text detector, input 640 x 640"},
    {"--ppocr-rec-model", nullptr, &Args::ppocr_rec_model, nullptr, true,
     "text recogniser, input 320 x 48"},
    {"--dict-region", nullptr, &Args::dict_region, nullptr, true, "region names, one per line"},
    {"--ocr-dict", nullptr, &Args::ocr_dict, nullptr, true,
     "the recogniser's characters, one per line, without the blank"},
    {"--input-list", nullptr, &Args::input_list, nullptr, true, "the case list"},
    {"--output-dir", nullptr, &Args::output_dir, nullptr, true,
     "where results go; made if it is missing"},
    {"--plate-det-thresh", nullptr, &Args::plate_det_thresh, nullptr, false,
     "least score of a plate detection; a value that is no number counts as 0"},
    {"--fail-on-error", nullptr, &Args::fail_on_error, nullptr, false,
     "exit status 2 if a group is not \"correct\""},
    {"--help", "-h", ShowUsage(), nullptr, false, "print the usage and end with exit status 0"},
}};

std::string default_of(const Option& option) {
  const Args defaults;
  if (const auto* const text = std::get_if<std::string Args::*>(&option.effect)) {
    return defaults.**text;
  }
  if (const auto* const number = std::get_if<float Args::*>(&option.effect)) {
    std::ostringstream digits;
    digits << defaults.**number;
    return digits.str();
  }
  return "";
}

Args parse_args(int argc, const char* const* argv) {
  Args args;
  ArgumentCursor cursor(argc, argv);
  while (!cursor.at_end()) apply_argument(cursor.next(), cursor, args);
  if (args.input_mode != "roi" && args.input_mode != "frame" && args.input_mode != "auto") {
    throw std::runtime_error("--input-mode must be roi, frame, or auto");
  }
  return args;
}

void check_file(const std::string& path) {
  if (!file_exists(path)) throw std::runtime_error("missing required file: " + path);
}

bool check_files_and_decide_use_plate_det(const Args& args) {
  check_file(args.plate_corner_model);
  check_file(args.ppocr_det_model);
  check_file(args.ppocr_rec_model);
  check_file(args.dict_region);
  check_file(args.ocr_dict);
  check_file(args.input_list);
  const bool use_plate_det = decide_use_plate_det(args);
  if (use_plate_det) check_file(args.plate_det_model);
  return use_plate_det;
}

}  // namespace kavrel
