#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <unordered_set>
#include <vector>

#include "app/base/log.h"
#include "app/base/output_format.h"
#include "report/base/unicode.h"
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

// Formats, and the files that they are written to.
const std::map<std::string, const char*> kExports = {
    {"label-studio", "label_studio.json"}, {"coco", "coco.json"}, {"csv", "boxes.csv"}};

struct LabelOptions : SharedOptions {
  std::string export_format;
  std::string image_prefix;
  std::string import_file;
};

using Paths = std::unordered_set<std::string>;

Paths pictures_of(const RecordedRun& run) {
  Paths paths;
  for (const FrameResult& frame : run.frames) paths.insert(frame.image_path);
  return paths;
}

Paths pictures_of(const ListRows& list) {
  Paths paths;
  for (const ListCells& row : list.rows) paths.insert(case_of_row(row, list.columns).image_path);
  return paths;
}

void remark_on_missing(const Paths& wanted, const Paths& known, const std::string& text) {
  ListRemark remark{text, {}};
  std::copy_if(wanted.begin(), wanted.end(), std::back_inserter(remark.names),
               [&](const std::string& path) { return known.count(path) == 0; });
  std::sort(remark.names.begin(), remark.names.end());
  if (!remark.names.empty()) log_remark(remark);
}

// A day's labels would be lost in rows that they do not belong to, or in a file of two encodings.
void refuse_other_list(const ListRows& list, const RecordedRun& run, const std::string& path) {
  const std::string advice = "; kavrel-report check " + path + " tells what is wrong with it";
  const Paths listed = pictures_of(list);
  const Paths read = pictures_of(run);
  if (std::none_of(listed.begin(), listed.end(),
                   [&](const std::string& picture) { return read.count(picture) > 0; })) {
    throw std::runtime_error("no picture of the list is one of the run" + advice);
  }
  for (const ListCells& row : list.rows) {
    const std::string expected = case_of_row(row, list.columns).expected;
    if (bytes_as_text(expected) != expected) {
      throw std::runtime_error("the list's labels are not in UTF-8" + advice);
    }
  }
  remark_on_missing(listed, read, "not in the run, so the row stays as it is");
  remark_on_missing(read, listed, "in the run, but not in the list");
}

// What is labelled could be saved nowhere.
void leave_out_unlisted(const ListRows& list, RecordedRun& run) {
  const Paths listed = pictures_of(list);
  const auto is_unlisted = [&](const Group& group) {
    return std::none_of(group.frames.begin(), group.frames.end(), [&](std::size_t frame) {
      return listed.count(run.frames[frame].image_path) > 0;
    });
  };
  run.groups.erase(std::remove_if(run.groups.begin(), run.groups.end(), is_unlisted),
                   run.groups.end());
}

// That of --list, or else of the run's frames.
ListRows rows_to_label(const SharedOptions& options, const RecordedRun& run) {
  if (!options.list.empty()) {
    ListRows rows = read_list_rows(options.list);
    refuse_other_list(rows, run, options.list);
    return rows;
  }
  std::vector<CaseItem> cases;
  for (const FrameResult& frame : run.frames) {
    cases.push_back({frame.image_path, frame.expected, frame.group_id});
  }
  return rows_of_cases(cases);
}

// A list may be hours of work; pages and exports can be had again.
std::string output_of(const SharedOptions& options, const char* name) {
  std::string path = file_or(options, name);
  if (std::filesystem::path(path).extension() == ".csv") refuse_to_overwrite(path);
  return path;
}

void write_label_page(const SharedOptions& options, RecordedRun& run) {
  const std::string path = output_of(options, "label.html");
  const std::string name = options.list.empty()
                               ? "labelled.csv"
                               : std::filesystem::path(options.list).filename().string();
  const std::string cases = run.dir + "/" + output::kCases;
  if (!std::filesystem::is_directory(cases)) {
    log_line("[WARN] the page has no pictures: there is no directory " + cases);
  }
  const ListRows rows = rows_to_label(options, run);
  leave_out_unlisted(rows, run);
  const std::string page = render_label_page(run, rows, name, region_words(options));
  write_file(path, [&](std::ostream& out) { out << page; });
}

void export_labels(const LabelOptions& options, const RecordedRun& run) {
  const std::string& format = options.export_format;
  const std::string path = output_of(options, kExports.at(format));
  const ListRows rows = rows_to_label(options, run);
  const auto plates = pre_annotations(run, rows);
  write_file(path, [&](std::ostream& out) {
    if (format == "csv") return write_boxes_csv(plates, rows, out);
    if (format == "coco") return write_coco(plates, out);
    write_label_studio(plates, options.image_prefix, out);
  });
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
  RecordedRun run = read_shown(options.output_dir);
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
