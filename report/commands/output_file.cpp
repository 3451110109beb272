#include "report/commands/output_file.h"

#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "report/base/wording.h"
#include "report/html/html_split.h"

namespace kavrel::report {
namespace {

namespace fs = std::filesystem;

// Half a list or page would pass for a whole one, so where the disk is full nothing stays.
void write_bytes(const std::string& path, const Writer& write) {
  std::ofstream file(path, std::ios::binary);
  const bool is_open = file.is_open();
  write(file);
  file.close();
  if (file) return;
  std::error_code error;
  if (is_open && fs::is_regular_file(path, error)) fs::remove(path, error);
  throw std::runtime_error("failed to write: " + path);
}

}  // namespace

void write_file(const std::string& path, const Writer& write) {
  if (path == "-") {
    write(std::cout);
    if (!std::cout.flush()) throw std::runtime_error("failed to write to standard output");
    return;
  }
  write_bytes(path, write);
  std::cout << "wrote " << path << std::endl;
}

void write_page(const std::string& path, const std::string& page, bool separate_files) {
  if (!separate_files) return write_file(path, [&](std::ostream& out) { out << page; });
  if (path == "-") throw std::runtime_error("--separate-files wants a file for the page");
  const fs::path folder =
      fs::path(path).parent_path() / (fs::path(path).stem().string() + "_files");
  const SplitPage split = split_page(page, folder.filename().string());
  std::error_code error;
  fs::create_directories(folder, error);
  for (const PageFile& file : split.files) {
    write_bytes((folder / file.name).string(), [&](std::ostream& out) { out << file.bytes; });
  }
  write_file(path, [&](std::ostream& out) { out << split.html; });
  std::cout << "wrote " << count_of(split.files.size(), "file") << " into " << folder.string()
            << std::endl;
}

}  // namespace kavrel::report
