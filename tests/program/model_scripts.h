// The four models of a run as scripts for the scripted NPU runtime, and the dictionaries they fit.
#ifndef KAVREL_TESTS_PROGRAM_MODEL_SCRIPTS_H
#define KAVREL_TESTS_PROGRAM_MODEL_SCRIPTS_H

#include <string>
#include <vector>

namespace kavrel_test {

// Rows of a recogniser answer, enough for every text read here.
constexpr int kSteps = 16;
// Side of the text detector's square map.
constexpr int kMapSide = 64;

// Entry k - 1 is the recogniser's class k; class 0 is the blank.
const std::vector<std::string>& ocr_dictionary();
// The dictionary or a word list as a file: one entry per line.
std::string as_lines(const std::vector<std::string>& entries);

// Labels in the runtime's log: "plate", "corner", "lines" and "reader". `answers` are statements
// of the script language; without any, the outputs are all zeros.
std::string plate_detector_script(const std::string& answers);
std::string corner_script(const std::string& answers = "answer * 0 floats 0 0 1 0 1 1 0 1\n");
std::string line_detector_script(const std::string& answers = "");
std::string reader_script(const std::string& answers,
                          std::size_t classes = ocr_dictionary().size() + 1);

// The answer that decodes to `text` at the recogniser runs `runs` (a selector of the script).
std::string reads(const std::string& runs, const std::string& text);

// Reads the texts in turn, again and again, from run `first` to run `last`.
std::string reads_in_turn(const std::vector<std::string>& texts, int first = 1, int last = 1000000);

// No line is found in this plate; the whole, the upper row, the lower row and the serial area
// read so in each of the five variants.
struct PlateTexts {
  std::string full, upper, lower, serial;
};
extern const PlateTexts kShinagawa;  // 品川 500 あ 12-34

constexpr int kRunsPerPlate = 20;
// The twenty recogniser runs of one plate, beginning with run `first`.
std::string reads_plate(const PlateTexts& plate, int first = 1);
// Every plate of the run reads the same.
std::string reads_every_plate(const PlateTexts& plate);

// The ocr texts of a result file: suffixes and texts of one variant, repeated for all five.
struct TaggedText {
  std::string suffix, text;
};
std::string ocr_texts(const std::vector<TaggedText>& of_one_variant);
std::string ocr_texts(const PlateTexts& plate);

}  // namespace kavrel_test

#endif
