// Output directories as kavrel leaves them, written by its own code.
#ifndef KAVREL_TESTS_REPORT_OUTPUT_DIR_H
#define KAVREL_TESTS_REPORT_OUTPUT_DIR_H

#include <string>
#include <vector>

#include "reading/frame_result.h"
#include "tests/support/test_support.h"

namespace kavrel_test {

using kavrel::FrameResult;
using kavrel::OcrText;

extern const std::vector<std::string> kWords;  // region words of the frames below

// A frame whose fields are what kavrel makes of the readings.
FrameResult frame_of(const std::string& group, const std::string& image,
                     const std::string& expected, const std::vector<OcrText>& readings);

// Five groups whose figures are small enough to compute by hand; a recognised kana is in brackets
// where it is wrong:
//   a  品川 330 あ 12-34   a1, a2 [い, no reading has あ], a3
//   b  横浜 500 さ 56-78   b1 [き 3 votes, さ 2], b2 [き, from the fallback search]
//   c  なにわ 480 う 90-12  c1 read nothing
//   d  no expected text    d1
//   e  福岡 301 わ 77-88   e1 read the serial as 778
std::vector<FrameResult> small_run();

class OutputDir {
 public:
  // A run that ended, and one that was killed after its last frame.
  void write_finished(const std::vector<FrameResult>& frames) const;
  void write_aborted(const std::vector<FrameResult>& frames) const;
  // The frame's rectified_plate.jpg and plate_roi.jpg.
  void write_pictures(const std::string& case_name) const;

  std::string path() const { return dir_.path(); }
  std::string path(const std::string& name) const { return dir_.path(name); }
  std::string read(const std::string& name) const { return dir_.read(name); }
  std::string write(const std::string& name, const std::string& bytes) const {
    return dir_.write(name, bytes);
  }
  void remove(const std::string& name) const;
  bool exists(const std::string& name) const { return dir_.exists(name); }

 private:
  TempDir dir_;
};

// A page without the texts that it can be shown in: what it says is what is left.
std::string without_texts(const std::string& page);

}  // namespace kavrel_test

#endif
