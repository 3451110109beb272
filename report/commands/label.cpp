#include <filesystem>
#include <memory>
#include <stdexcept>
#include <vector>

#include "report/commands/commands.h"
#include "report/commands/list_file.h"
#include "report/commands/output_file.h"
#include "report/commands/parser.h"
#include "report/commands/shared_options.h"
#include "report/html/html_label.h"
#include "report/list/foreign_labels.h"
#include "report/text/pre_annotations.h"

namespace kavrel::report {
namespace {

struct LabelOptions : SharedOptions {
  std::string export_format;
  std::string image_prefix;
  std::string import_file;
};

// That of --list, or else of the run's frames.
ListRows rows_to_label(const SharedOptions& options, const RecordedRun& run) {
  if (!options.list.empty()) return read_list_rows(options.list);
  std::vector<CaseItem> cases;
  for (const FrameResult& frame : run.frames) {
    cases.push_back({frame.image_path, frame.expected, frame.group_id});
  }
  return rows_of_cases(cases);
}

void write_label_page(const SharedOptions& options, const RecordedRun& run) {
  const std::string name = options.list.empty()
                               ? "labelled.csv"
                               : std::filesystem::path(options.list).filename().string();
  const std::string page =
      render_label_page(run, rows_to_label(options, run), name, region_words(options));
  write_file(file_or(options, "label.html"), [&](std::ostream& out) { out << page; });
}

void export_labels(const LabelOptions& options, const RecordedRun& run) {
  const ListRows rows = rows_to_label(options, run);
  const auto plates = pre_annotations(run, rows);
  if (options.export_format == "csv") {
    write_file(file_or(options, "boxes.csv"),
               [&](std::ostream& out) { write_boxes_csv(plates, rows, out); });
  } else if (options.export_format == "coco") {
    write_file(file_or(options, "coco.json"), [&](std::ostream& out) { write_coco(plates, out); });
  } else {
    write_file(file_or(options, "label_studio.json"),
               [&](std::ostream& out) { write_label_studio(plates, options.image_prefix, out); });
  }
}

void import_labels(const LabelOptions& options, const RecordedRun& run) {
  if (options.file.empty()) throw std::runtime_error("--import needs -o with the new list");
  refuse_to_overwrite(options.file);
  ListRows rows = rows_to_label(options, run);
  const auto labels = read_foreign_labels(options.import_file);
  for (const ListRemark& remark : label_rows(labels, rows)) log_remark(remark);
  write_file(options.file, [&](std::ostream& out) { out << rows_text(rows); });
}

void label(const LabelOptions& options) {
  const RecordedRun run = read_shown(options.output_dir);
  if (!options.export_format.empty()) return export_labels(options, run);
  if (!options.import_file.empty()) return import_labels(options, run);
  write_label_page(options, run);
}

}  // namespace

void add_label(CLI::App& app, int& /*status*/) {
  const auto options = std::make_shared<LabelOptions>();
  CLI::App& command = add_command(app, "label", "One page on which a person labels the vehicles",
                                  "output/demo --list list.csv", [options] { label(*options); });
  add_output_dir(command, *options);
  add_text(command, "-o,--output", options->file,
           "the page [OUTPUT_DIR/label.html]; - is standard output");
  add_text(command, "--list", options->list,
           "the list whose rows are saved with labels [the run's frames]");
  CLI::Option& to = add_text(command, "--export", options->export_format,
                             "instead of the page, boxes and texts for another tool");
  limit_to({"label-studio", "coco", "csv"}, to);
  let_need(add_text(command, "--image-prefix", options->image_prefix,
                    "of label-studio: what stands before each image path"),
           to);
  let_exclude(
      add_text(command, "--import", options->import_file,
               "instead of the page, the list of -o, with labels from this file of such a tool"),
      to);
  add_words(command, *options);
}

}  // namespace kavrel::report
