#include "report/text/misread.h"

#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include "app/base/output_format.h"
#include "app/base/text.h"

namespace kavrel::report {
namespace {

constexpr std::initializer_list<const char*> kColumns = {output::column::kGroupId,
                                                         output::column::kImagePath,
                                                         output::column::kExpected,
                                                         "read",
                                                         "outcome",
                                                         "stage",
                                                         "cause",
                                                         "wrong_fields",
                                                         "case_dir",
                                                         "picture"};

std::string wrong_fields(const PlateJudgement& plate) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; plate.fields && i < kFields.size(); ++i) {
    if ((*plate.fields)[i].outcome != Outcome::kCorrect) keys.emplace_back(kFields[i].key);
  }
  return join_strings(keys, " ");
}

// Pictures that a later case of the same name took show that one.
std::string picture_of(const RecordedRun& run, std::size_t frame, const std::string& case_dir,
                       const char* name) {
  const std::string path = case_dir + "/" + name;
  return run.overwritten.count(frame) == 0 && std::filesystem::exists(path) ? path : "";
}

output::Row row_of(const RecordedRun& run, const Assessment& assessment, std::size_t index) {
  const FrameResult& frame = run.frames[index];
  const PlateJudgement& plate = assessment.frame_judgements[index];
  const CauseEntry& cause = entry_of(*assessment.frame_causes[index]);
  const std::string case_dir = output::case_dir(run.dir, frame.image_path);
  return output::make_row(
      kColumns, {frame.group_id, frame.image_path, frame.expected, frame.fields.final_plate_number,
                 name_of(plate.outcome), cause.stage, cause.key, wrong_fields(plate), case_dir,
                 picture_of(run, index, case_dir, cause.picture)});
}

}  // namespace

void write_misread(const RecordedRun& run, const Assessment& assessment, std::ostream& out) {
  out << output::csv_header(kColumns) << '\n';
  for (std::size_t i = 0; i < run.frames.size(); ++i) {
    if (!assessment.frame_causes[i]) continue;
    out << output::csv_line(kColumns, row_of(run, assessment, i)) << '\n';
  }
}

}  // namespace kavrel::report
