// Files of a test or a benchmark. What cannot be made, written or read throws std::runtime_error.
#ifndef KAVREL_TESTS_SUPPORT_TEMP_DIR_H
#define KAVREL_TESTS_SUPPORT_TEMP_DIR_H

#include <filesystem>
#include <string>
#include <vector>

namespace kavrel_test {

// An empty directory that lasts as long as the object. A name is relative to it.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  std::string path() const { return root_.string(); }
  std::string path(const std::string& name) const { return (root_ / name).string(); }
  // Writes a file, its directories too, and returns its path.
  std::string write(const std::string& name, const std::string& bytes) const;
  std::string read(const std::string& name) const;
  bool exists(const std::string& name) const;
  // Names of everything directly in it, in byte order.
  std::vector<std::string> names() const;

 private:
  std::filesystem::path root_;
};

void write_file(const std::string& path, const std::string& bytes);
std::string read_file(const std::string& path);

std::vector<std::string> lines_of(const std::string& text);

}  // namespace kavrel_test

#endif
