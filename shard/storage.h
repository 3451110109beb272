// Files that must be whole or not there, and what tells one file from another. Failures are
// std::runtime_error.
#ifndef KAVREL_SHARD_STORAGE_H
#define KAVREL_SHARD_STORAGE_H

#include <string>
#include <vector>

namespace kavrel::shard {

// SHA-256 in hexadecimal digits.
std::string sha256_of(const std::string& bytes);
std::string sha256_of_file(const std::string& path);

std::string text_of_file(const std::string& path);

// Writes beside `path` and renames: a reader finds all of it, or what was there before.
void write_whole(const std::string& path, const std::string& bytes);

// Makes a symbolic link, or keeps the one that is there with this target.
void link_to(const std::string& target, const std::string& path);

// Makes a directory of its own, whose name begins with `prefix`.
std::string make_directory_of_its_own(const std::string& prefix);

// Names of everything below a directory that is no directory, relative to it, in byte order.
std::vector<std::string> names_below(const std::string& dir);

// Moves a file or a directory into a folder that is made, under a name of its own.
void move_aside(const std::string& path, const std::string& folder);

// A folder that nobody else works on as long as this lives.
class FolderLock {
 public:
  // Throws if another one has it.
  explicit FolderLock(const std::string& folder);
  ~FolderLock();
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int file_;
};

}  // namespace kavrel::shard

#endif
