#include "app/base/files.h"

#include <array>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "app/base/text.h"

namespace kavrel {

void ensure_dir(const std::string& path) {
  if (path.empty()) return;
  const std::string command = "mkdir -p " + shell_quote(path);
  if (std::system(command.c_str()) != 0) throw std::runtime_error("mkdir failed: " + path);
}

bool file_exists(const std::string& path) { return std::ifstream(path, std::ios::binary).good(); }

std::vector<unsigned char> read_file_binary(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::vector<unsigned char> bytes;
  std::array<char, 1 << 16> chunk;
  while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
    bytes.insert(bytes.end(), chunk.data(), chunk.data() + file.gcount());
  }
  // A directory opens, and only reading it fails: half a file must not pass for a whole one.
  if (!file.is_open() || file.bad()) throw std::runtime_error("failed to open binary: " + path);
  return bytes;
}

std::vector<std::string> trimmed_lines(std::istream& stream) {
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) {
    line = trim(line);
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> read_trimmed_lines(const std::string& path, const std::string& failure) {
  std::ifstream file(path);
  std::vector<std::string> lines = trimmed_lines(file);
  if (!file.is_open() || file.bad()) throw std::runtime_error(failure + path);
  return lines;
}

}  // namespace kavrel
