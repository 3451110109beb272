#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <numeric>
#include <stdexcept>
#include <system_error>

namespace kavrel_test {
namespace {

namespace fs = std::filesystem;

constexpr char kLogVariable[] = "SCRIPTED_RKNNRT_LOG";
constexpr char kLogName[] = "calls.log";

fs::path make_temp_dir() {
  std::string name = (fs::temp_directory_path() / ("kavrel_unit_" + std::string(6, 'X'))).string();
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
  EXPECT_TRUE(file) << "cannot write " << path;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << "cannot read " << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

Capture::Capture() : Capture(std::cerr) {}

Capture::Capture(std::ostream& stream) : stream_(stream), real_(stream.rdbuf(taken_.rdbuf())) {}

Capture::~Capture() { stream_.rdbuf(real_); }

void load_script(kavrel::RknnModel& model, const std::string& script) {
  const TempDir dir;
  const Capture description;
  model.load(dir.write("net.rknn", script));
}

RuntimeLog::RuntimeLog() { setenv(kLogVariable, dir_.write(kLogName, "").c_str(), 1); }

RuntimeLog::~RuntimeLog() { unsetenv(kLogVariable); }

std::vector<std::string> RuntimeLog::lines() const { return lines_of(dir_.read(kLogName)); }

std::vector<std::string> RuntimeLog::calls() const {
  std::vector<std::string> calls;
  for (const std::string& line : lines()) {
    const std::size_t function_end = line.find(' ');
    calls.push_back(line.substr(0, line.find(' ', function_end + 1)));
  }
  return calls;
}

long RuntimeLog::count(const std::string& function) const {
  const std::vector<std::string> all = lines();
  return std::count_if(all.begin(), all.end(), [&](const std::string& line) {
    return line.compare(0, function.size() + 1, function + " ") == 0;
  });
}

rknn_tensor_attr attr_of(const std::vector<std::uint32_t>& dims) {
  rknn_tensor_attr attr{};
  attr.n_dims = static_cast<std::uint32_t>(dims.size());
  std::copy(dims.begin(), dims.end(), attr.dims);
  attr.n_elems = std::accumulate(dims.begin(), dims.end(), 1U, std::multiplies<>());
  return attr;
}

void report_no_failure(const char* what) { ADD_FAILURE() << what; }

}  // namespace kavrel_test
