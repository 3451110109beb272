#ifndef KAVREL_BENCH_SCRATCH_H
#define KAVREL_BENCH_SCRATCH_H

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace bench {

// A directory of its own that is removed at the end.
class Scratch {
 public:
  Scratch() {
    std::string name = std::filesystem::temp_directory_path() / "kavrel_bench_";
    name.append(6, 'X');  // which mkdtemp replaces
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
    path_ = name;
  }
  ~Scratch() { std::filesystem::remove_all(path_); }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace bench

#endif
