// The reading of a vehicle from those of its frames.
#ifndef KAVREL_READING_GROUP_VOTE_H
#define KAVREL_READING_GROUP_VOTE_H

#include <string>
#include <vector>

#include "reading/frame_result.h"
#include "reading/plate_fields.h"

namespace kavrel {

struct GroupResult {
  std::string group_id;
  std::string expected;  // of the group's first frame
  PlateFields fields;
  int frame_count = 0;
};

// The value that occurs most often, empty ones not counted; of equal counts the first in byte
// order. "" if all are empty.
std::string vote_string(const std::vector<std::string>& values);

// Votes each field by itself, one vote per frame: the plate may combine fields of several frames.
// Without frames a default GroupResult.
GroupResult vote_group(const std::vector<FrameResult>& frames);

}  // namespace kavrel

#endif
