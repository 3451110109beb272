#include "report/list/new_list.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "app/base/text.h"
#include "report/base/unicode.h"
#include "report/list/label.h"
#include "report/list/taken_at.h"

namespace kavrel::report {
namespace {

namespace fs = std::filesystem;

// Of pictures that OpenCV reads.
constexpr std::array<std::string_view, 9> kExtensions = {".jpg", ".jpeg", ".jpe",  ".png", ".bmp",
                                                         ".dib", ".tif",  ".tiff", ".webp"};

bool is_picture_name(const fs::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char byte) { return static_cast<char>(std::tolower(byte)); });
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

bool is_hidden(const fs::path& path) { return path.filename().string().front() == '.'; }

struct FoundFiles {
  std::vector<std::string> pictures;
  std::vector<std::string> others;
};

// In byte order of their paths.
FoundFiles files_below(const std::string& folder) {
  FoundFiles found;
  std::error_code error;
  fs::path reached = folder;
  fs::recursive_directory_iterator entry(fs::path(folder).lexically_normal(), error);
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    reached = entry->path();
    if (is_hidden(entry->path())) {
      entry.disable_recursion_pending();
    } else if (entry->is_regular_file()) {
      auto& paths = is_picture_name(entry->path()) ? found.pictures : found.others;
      paths.push_back(entry->path().string());
    }
  }
  if (error) {
    throw std::runtime_error("cannot read the folder " + reached.string() + ": " + error.message());
  }
  std::sort(found.pictures.begin(), found.pictures.end());
  std::sort(found.others.begin(), found.others.end());
  return found;
}

std::string picture_endings() {
  return join_strings({kExtensions.begin(), kExtensions.end()}, " ");
}

// A list's reader trims its cells and drops their quotes, and a line is a row. A list has one
// encoding, that of its labels.
bool can_stand_in_list(const std::string& path) {
  return split_csv_simple(csv_escape(path)) == ListCells{path} && !contains(path, "\n") &&
         !contains(path, "\r") && utf8(code_points(path)) == path;
}

constexpr const char* kNoNameForAList =
    "left out, as a list takes no name that has a quote or an end of line, begins or ends with a "
    "blank, or is not UTF-8";

std::string folder_of(const CaseItem& item) {
  const std::string folder = fs::path(item.image_path).parent_path().string();
  return folder.empty() ? "." : folder;
}

void remark(NewList& list, const std::string& text, std::vector<std::string> names) {
  if (!names.empty()) list.remarks.push_back({text, std::move(names)});
}

// What a grouping does not place. All of them are a mistake: throws `mistake`.
void remark_on_unplaced(NewList& list, const std::string& text, std::vector<std::string> names,
                        const std::string& mistake) {
  if (names.size() == list.cases.size()) throw std::runtime_error(mistake);
  remark(list, text + ", so a group of its own", std::move(names));
}

std::regex expression_of(const std::string& pattern) {
  std::regex expression;
  try {
    expression.assign(pattern, std::regex::optimize);
  } catch (const std::regex_error& error) {
    throw std::runtime_error("--pattern " + pattern + ": " + error.what());
  }
  if (expression.mark_count() == 0) {
    throw std::runtime_error("--pattern wants parentheses around what names the group: " + pattern);
  }
  return expression;
}

void group_by_name(const std::string& pattern, NewList& list) {
  const std::regex expression = expression_of(pattern);
  std::vector<std::string> unmatched;
  std::smatch parts;
  for (CaseItem& item : list.cases) {
    const std::string name = basename_no_ext(item.image_path);
    if (std::regex_match(name, parts, expression)) {
      item.group_id = trim(parts[1]);
    } else {
      unmatched.push_back(item.image_path);
    }
  }
  remark_on_unplaced(list, "not matched by the pattern", std::move(unmatched),
                     "--pattern " + pattern + " matches no file name, such as " +
                         basename_no_ext(list.cases.front().image_path));
}

struct TakenCase {
  std::int64_t time;
  CaseItem* item;
};

// A group is named by the first of its pictures.
void group_by_time(std::int64_t seconds, NewList& list) {
  std::map<std::string, std::vector<TakenCase>> folders;
  std::vector<std::string> untold;
  for (CaseItem& item : list.cases) {
    if (const auto time = taken_at(item.image_path)) {
      folders[folder_of(item)].push_back({*time, &item});
    } else {
      untold.push_back(item.image_path);
    }
  }
  for (auto& [folder, cases] : folders) {
    std::stable_sort(cases.begin(), cases.end(),
                     [](const TakenCase& a, const TakenCase& b) { return a.time < b.time; });
    TakenCase first = cases.front();
    for (const TakenCase& taken : cases) {
      if (taken.time - first.time > seconds) first = taken;
      taken.item->group_id = basename_no_ext(first.item->image_path);
    }
  }
  remark_on_unplaced(list, "not known when it was taken", std::move(untold),
                     "no picture tells when it was taken (EXIF): group by directory or by name");
}

// The case folder of a picture is named as its file, without the extension.
void remark_on_same_names(NewList& list) {
  std::unordered_map<std::string, const std::string*> owners;
  std::vector<std::string> names;
  for (const CaseItem& item : list.cases) {
    const auto [owner, is_new] = owners.emplace(basename_no_ext(item.image_path), &item.image_path);
    if (!is_new) names.push_back(item.image_path + " and " + *owner->second);
  }
  remark(list,
         "the name of an earlier one, whose results this one's overwrite; rename them, or run each "
         "folder into an output directory of its own",
         std::move(names));
}

void remark_on_scattered_groups(NewList& list) {
  std::unordered_map<std::string, std::string> folders;
  std::set<std::string> scattered;
  for (const CaseItem& item : list.cases) {
    if (item.group_id.empty()) continue;
    const auto [first, is_new] = folders.emplace(item.group_id, folder_of(item));
    if (!is_new && first->second != folder_of(item)) scattered.insert(item.group_id);
  }
  remark(list, "a group with pictures in several folders, which counts as one vehicle",
         {scattered.begin(), scattered.end()});
}

}  // namespace

NewList list_pictures_below(const std::vector<std::string>& folders) {
  NewList list;
  std::unordered_set<std::string> seen;
  std::vector<std::string> left_out;
  std::vector<std::string> others;
  for (const std::string& folder : folders) {
    const FoundFiles found = files_below(folder);
    for (const std::string& path : found.others) {
      if (seen.insert(path).second) others.push_back(path);
    }
    for (const std::string& path : found.pictures) {
      if (!seen.insert(path).second) continue;
      if (can_stand_in_list(path)) {
        list.cases.push_back({path, "", ""});
      } else {
        left_out.push_back(path);
      }
    }
  }
  if (list.cases.empty()) {
    throw std::runtime_error(left_out.empty()
                                 ? "there is no picture below the folders; pictures are " +
                                       picture_endings()
                                 : left_out.front() + " is " + kNoNameForAList);
  }
  remark(list, "left out, as the ending is none of " + picture_endings(), std::move(others));
  remark(list, kNoNameForAList, std::move(left_out));
  return list;
}

void group_cases(const Grouping& grouping, NewList& list) {
  if (grouping.by == GroupBy::kName) group_by_name(grouping.pattern, list);
  if (grouping.by == GroupBy::kTime) group_by_time(grouping.seconds, list);
  if (grouping.by != GroupBy::kDirectory) return;
  for (CaseItem& item : list.cases) item.group_id = folder_of(item);
}

void label_by_name(const std::vector<std::string>& region_words, NewList& list) {
  std::vector<std::string> unlabelled;
  for (CaseItem& item : list.cases) {
    const auto label = find_label(basename_no_ext(item.image_path), region_words);
    if (label) {
      item.expected = label->final_plate_number;
    } else {
      unlabelled.push_back(item.image_path);
    }
  }
  remark(list, "no plate in the name", std::move(unlabelled));
}

void remark_on_cases(NewList& list) {
  remark_on_same_names(list);
  remark_on_scattered_groups(list);
}

std::size_t count_groups(const NewList& list) {
  std::unordered_set<std::string> groups;
  for (const CaseItem& item : list.cases) {
    groups.insert(item.group_id.empty() ? basename_no_ext(item.image_path) : item.group_id);
  }
  return groups.size();
}

std::string list_text(const NewList& list) {
  std::string text = list_header() + '\n';
  for (const CaseItem& item : list.cases) {
    text += csv_escape(item.image_path) + ',' + csv_escape(item.expected) + ',' +
            csv_escape(item.group_id) + '\n';
  }
  return text;
}

}  // namespace kavrel::report
