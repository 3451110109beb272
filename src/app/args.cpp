#include "app/args.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "app/files.h"

namespace kavrel {
namespace {

// An option whose value is the next argument, taken as it stands.
struct TextOption {
  const char* name;
  std::string Args::*value;
  const char* shown_value;  // in the usage text; null shows the default
};

constexpr std::array<TextOption, 9> kTextOptions = {{
    {"--input-mode", &Args::input_mode, "roi|frame|auto"},
    {"--plate-det-model", &Args::plate_det_model, nullptr},
    {"--plate-corner-model", &Args::plate_corner_model, nullptr},
    {"--ppocr-det-model", &Args::ppocr_det_model, nullptr},
    {"--ppocr-rec-model", &Args::ppocr_rec_model, nullptr},
    {"--dict-region", &Args::dict_region, nullptr},
    {"--ocr-dict", &Args::ocr_dict, nullptr},
    {"--input-list", &Args::input_list, nullptr},
    {"--output-dir", &Args::output_dir, nullptr},
}};

// The usage text leaves out --plate-det-thresh and --fail-on-error; scripts compare it whole.
void print_usage() {
  const Args defaults;
  std::cout << "Usage: kavrel [options]\n";
  for (const TextOption& option : kTextOptions) {
    std::cout << "  " << option.name << ' '
              << (option.shown_value ? option.shown_value : defaults.*option.value) << '\n';
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

void apply_argument(const std::string& argument, ArgumentCursor& cursor, Args& args) {
  const auto option = std::find_if(kTextOptions.begin(), kTextOptions.end(),
                                   [&](const TextOption& o) { return argument == o.name; });
  if (option != kTextOptions.end()) {
    args.*option->value = cursor.value_of(argument);
  } else if (argument == "--plate-det-thresh") {
    // Not validated: a text that is no number counts as 0.
    const std::string value = cursor.value_of(argument);
    args.plate_det_thresh = static_cast<float>(std::atof(value.c_str()));  // NOLINT(cert-err34-c)
  } else if (argument == "--fail-on-error") {
    args.fail_on_error = true;
  } else if (argument == "-h" || argument == "--help") {
    print_usage();
    std::exit(0);
  } else {
    throw std::runtime_error("unknown argument: " + argument);
  }
}

bool decide_use_plate_det(const Args& args) {
  if (args.input_mode == "auto") return file_exists(args.plate_det_model);
  return args.input_mode == "frame";
}

}  // namespace

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
