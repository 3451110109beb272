#include "tests/support/temp_dir.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>

namespace kavrel_test {
namespace {

namespace fs = std::filesystem;

fs::path make_temp_dir() {
  std::string name = (fs::temp_directory_path() / ("kavrel_test_" + std::string(6, 'X'))).string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory: " + name);
  return name;
}

}  // namespace

TempDir::TempDir() : root_(make_temp_dir()) {}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

std::string TempDir::write(const std::string& name, const std::string& bytes) const {
  const fs::path file = root_ / name;
  fs::create_directories(file.parent_path());
  write_file(file.string(), bytes);
  return file.string();
}

std::string TempDir::read(const std::string& name) const { return read_file(path(name)); }

bool TempDir::exists(const std::string& name) const { return fs::exists(root_ / name); }

std::vector<std::string> TempDir::names() const {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(root_)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

void write_file(const std::string& path, const std::string& bytes) {
  std::ofstream file(path, std::ios::binary);
  file << bytes;
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path);
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace kavrel_test
