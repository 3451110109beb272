// What a run read, as pre-annotations for a general labelling tool: where each plate is, and its
// text, which is the list's label or else the vehicle's voted reading.
#ifndef KAVREL_REPORT_TEXT_PRE_ANNOTATIONS_H
#define KAVREL_REPORT_TEXT_PRE_ANNOTATIONS_H

#include <ostream>
#include <string>
#include <vector>

#include "report/list/list_rows.h"
#include "report/run/place.h"
#include "report/run/run.h"

namespace kavrel::report {

struct PreAnnotation {
  std::string image_path;
  std::string group_id;
  std::string text;  // "" if nothing was read
  std::optional<LocatedPlate> plate;
};

// One for each row of the list whose picture the run read.
std::vector<PreAnnotation> pre_annotations(const RecordedRun& run, const ListRows& list);

// Label Studio's tasks with predictions: a rectangle "plate" in percent of the picture, and the
// text beside it. `image_prefix` stands before each path, where the tool finds the pictures. A
// plate without a box has no prediction.
void write_label_studio(const std::vector<PreAnnotation>& plates, const std::string& image_prefix,
                        std::ostream& out);

// COCO's images, annotations and categories, boxes and corners in pixels. Pictures whose size is
// not known are left out: the format wants it.
void write_coco(const std::vector<PreAnnotation>& plates, std::ostream& out);

// The list with its empty labels filled in, and four columns of the box in pixels behind its own.
void write_boxes_csv(const std::vector<PreAnnotation>& plates, const ListRows& list,
                     std::ostream& out);

}  // namespace kavrel::report

#endif
