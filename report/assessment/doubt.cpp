#include "report/assessment/doubt.h"

#include <algorithm>

namespace kavrel::report {
namespace {

void add(const Tally& votes, Tally& totals) {
  for (const auto& [value, count] : votes) totals[value] += count;
}

bool frames_disagree(const RecordedRun& run, const Group& group, const Field& field) {
  return std::any_of(group.frames.begin(), group.frames.end(), [&](std::size_t frame) {
    return run.frames[frame].fields.*field.value != group.result.fields.*field.value;
  });
}

bool is_close(const std::vector<Candidate>& candidates, const std::string& taken) {
  int of_taken = 0;
  int of_others = 0;
  for (const Candidate& candidate : candidates) {
    int& most = candidate.value == taken ? of_taken : of_others;
    most = std::max(most, candidate.votes);
  }
  return of_others > 0 && 2 * of_others >= of_taken;
}

void add_other(const PlateFields& fields, const PlateFields& taken,
               std::vector<PlateFields>& others) {
  PlateFields plate = fields;
  plate.final_plate_number = assemble_plate_number(plate);
  const auto is_same = [&](const PlateFields& other) {
    return other.final_plate_number == plate.final_plate_number;
  };
  if (plate.final_plate_number.empty() || is_same(taken)) return;
  if (std::none_of(others.begin(), others.end(), is_same)) others.push_back(plate);
}

struct CountedPlate {
  PlateFields fields;
  int count = 0;
};

// With the most frequent plate of a frame first.
std::vector<CountedPlate> plates_of_frames(const RecordedRun& run, const Group& group) {
  std::vector<CountedPlate> plates;
  for (const std::size_t frame : group.frames) {
    const PlateFields& fields = run.frames[frame].fields;
    auto plate = std::find_if(plates.begin(), plates.end(), [&](const CountedPlate& other) {
      return other.fields.final_plate_number == fields.final_plate_number;
    });
    if (plate == plates.end()) plate = plates.insert(plate, {fields, 0});
    ++plate->count;
  }
  std::stable_sort(plates.begin(), plates.end(),
                   [](const CountedPlate& a, const CountedPlate& b) { return a.count > b.count; });
  return plates;
}

void find_others(const RecordedRun& run, const Group& group, VehicleDoubt& vehicle) {
  const PlateFields& taken = group.result.fields;
  for (const CountedPlate& plate : plates_of_frames(run, group)) {
    add_other(plate.fields, taken, vehicle.others);
  }
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    for (const Candidate& candidate : vehicle.fields[i].candidates) {
      PlateFields plate = taken;
      plate.*kFields[i].value = candidate.value;
      add_other(plate, taken, vehicle.others);
    }
  }
}

}  // namespace

const char* key_of(Doubt doubt) {
  constexpr std::array<const char*, 5> kKeys = {"", "empty", "searched", "frames", "votes"};
  return kKeys[static_cast<std::size_t>(doubt)];
}

int VehicleDoubt::weight() const {
  int weight = 0;
  for (const FieldDoubt& field : fields) {
    weight += static_cast<int>(field.doubt != Doubt::kNone) +
              static_cast<int>(field.doubt == Doubt::kEmpty);
  }
  return weight;
}

VehicleDoubt doubt_of(const RecordedRun& run, const Group& group,
                      const std::vector<std::string>& region_words) {
  FieldTallies totals;
  bool searched = false;
  for (const std::size_t frame : group.frames) {
    const FrameDecision decision = decide_frame(run.frames[frame], region_words);
    for (const Field& field : kFields) add(decision.plate.totals.*field.votes, totals.*field.votes);
    searched = searched || decision.kana_from_fallback;
  }
  VehicleDoubt vehicle;
  for (std::size_t i = 0; i < kFields.size(); ++i) {
    const Field& field = kFields[i];
    FieldDoubt& found = vehicle.fields[i];
    const std::string& taken = group.result.fields.*field.value;
    found.candidates = ranking(totals, field);
    if (taken.empty()) {
      found.doubt = Doubt::kEmpty;
    } else if (i == kKana && searched) {
      found.doubt = Doubt::kSearched;
    } else if (frames_disagree(run, group, field)) {
      found.doubt = Doubt::kFrames;
    } else if (is_close(found.candidates, taken)) {
      found.doubt = Doubt::kVotes;
    }
  }
  find_others(run, group, vehicle);
  return vehicle;
}

}  // namespace kavrel::report
