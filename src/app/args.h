// The configuration of a run, taken from the command line alone.
#ifndef KAVREL_APP_ARGS_H
#define KAVREL_APP_ARGS_H

#include <array>
#include <string>
#include <variant>

namespace kavrel {

// Paths are used as typed, relative to the working directory.
struct Args {
  std::string input_mode = "roi";  // "roi", "frame" or "auto"
  std::string plate_det_model = "models/rknn/plate_det.rknn";
  std::string plate_corner_model = "models/rknn/plate_corner.rknn";
  std::string ppocr_det_model = "models/rknn/ppocrv6_det.rknn";
  std::string ppocr_rec_model = "models/rknn/ppocrv6_rec.rknn";
  std::string dict_region = "dict/region_words.txt";
  std::string ocr_dict = "dict/ppocrv6_rec_dict.txt";
  std::string input_list = "samples/real_lpr/real_lpr_expected.csv";
  std::string output_dir = "output/v21_product_validation";
  float plate_det_thresh = 0.25F;  // least score of a plate detection, usually in [0, 1]
  bool fail_on_error = false;      // exit status 2 if a group is not "correct"
};

struct ShowUsage {};

// An option of the command line. A text and a number take the next argument for their value.
struct Option {
  const char* name;
  const char* short_name;  // null without one
  std::variant<std::string Args::*, float Args::*, bool Args::*, ShowUsage> effect;
  const char* choices;  // the values that a text may have, joined by "|"; null for any
  bool in_usage;        // whether the usage text lists it
  const char* help;     // what it is for, in one line; the README and the man page say the same
};

// Every option, in the order in which an argument is compared with them.
extern const std::array<Option, 12> kOptions;

// The value of an option that is not given, as it would be typed; "" for one without a value.
std::string default_of(const Option& option);

// Reads the options in argv[1 .. argc - 1]; of a repeated one the last counts. "-h" and "--help"
// print the usage text to standard output and end the process with status 0. Throws
// std::runtime_error "missing value for " + option, "unknown argument: " + argument or
// "--input-mode must be roi, frame, or auto".
Args parse_args(int argc, const char* const* argv);

// Throws std::runtime_error "missing required file: " + path if it cannot be opened.
void check_file(const std::string& path);

// Insists on every file that the run needs, the detector's model only if it is used. Returns
// whether the plate detector is used: always in "frame" mode, in "auto" mode if its model is
// there. Throws as check_file does, for the first file that is missing.
bool check_files_and_decide_use_plate_det(const Args& args);

}  // namespace kavrel

#endif
