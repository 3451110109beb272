// Where the plates of a set are, for those who know.
#ifndef KAVREL_REPORT_RUN_TRUTH_H
#define KAVREL_REPORT_RUN_TRUTH_H

#include <map>
#include <string>

#include "reading/frame_result.h"
#include "report/run/place.h"

namespace kavrel::report {

// Places by image path.
class Truth {
 public:
  Truth() = default;
  Truth(Truth&&) = default;
  Truth& operator=(Truth&&) = default;
  Truth(const Truth&) = delete;  // names point to places
  Truth& operator=(const Truth&) = delete;
  ~Truth() = default;

  void add(const std::string& image_path, const TruePlace& place);
  // By the frame's image path, else by its file name where one place alone has it; null without.
  const TruePlace* find(const FrameResult& frame) const;
  bool empty() const { return places_.empty(); }

 private:
  std::map<std::string, TruePlace> places_;
  std::map<std::string, const TruePlace*> by_name_;  // null: several have the name
};

// A JSON array of objects, of which these members count:
//   image_path   as in the case list
//   box          left, top, right and bottom
//   corners      four points x, y: top left, top right, bottom right, bottom left
// in pixels of the image, 0 in the middle of the first one. Throws std::runtime_error with the
// file's name if it is no such file, or a box has no size.
Truth read_truth(const std::string& path);

}  // namespace kavrel::report

#endif
