#include "reading/group_vote.h"

#include "app/base/top_vote.h"

namespace kavrel {
namespace {

std::string vote_field(const std::vector<FrameResult>& frames, std::string PlateFields::*field) {
  std::vector<std::string> values;
  for (const FrameResult& frame : frames) values.push_back(frame.fields.*field);
  return vote_string(values);
}

}  // namespace

std::string vote_string(const std::vector<std::string>& values) {
  Tally counts;
  for (const std::string& value : values) {
    if (!value.empty()) ++counts[value];
  }
  return pick_top_vote(counts);
}

GroupResult vote_group(const std::vector<FrameResult>& frames) {
  GroupResult group;
  if (frames.empty()) return group;
  group.group_id = frames.front().group_id;
  group.expected = frames.front().expected;
  group.frame_count = static_cast<int>(frames.size());
  group.fields.region = vote_field(frames, &PlateFields::region);
  group.fields.class_no = vote_field(frames, &PlateFields::class_no);
  group.fields.kana = vote_field(frames, &PlateFields::kana);
  group.fields.serial = vote_field(frames, &PlateFields::serial);
  group.fields.final_plate_number = assemble_plate_number(group.fields);
  return group;
}

}  // namespace kavrel
