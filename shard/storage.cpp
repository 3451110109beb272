#include "shard/storage.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "app/base/files.h"

namespace kavrel::shard {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& what, const std::string& path) {
  throw std::runtime_error(what + ": " + path + " (" + std::strerror(errno) + ")");
}

class Sha256 {
 public:
  Sha256() : context_(EVP_MD_CTX_new(), EVP_MD_CTX_free) {
    if (!context_ || EVP_DigestInit_ex(context_.get(), EVP_sha256(), nullptr) != 1) {
      throw std::runtime_error("no SHA-256 here");
    }
  }
  void add(const char* bytes, std::size_t size) { EVP_DigestUpdate(context_.get(), bytes, size); }
  std::string digits() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> hash{};
    unsigned size = 0;
    EVP_DigestFinal_ex(context_.get(), hash.data(), &size);
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
      text += "0123456789abcdef"[hash[i] >> 4];
      text += "0123456789abcdef"[hash[i] & 15];
    }
    return text;
  }

 private:
  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context_;
};

// Hands every piece of the file to `take`.
template <typename Take>
void read_pieces(const std::string& path, Take take) {
  std::ifstream file(path, std::ios::binary);
  std::array<char, 1 << 16> piece;
  while (file.read(piece.data(), piece.size()) || file.gcount() > 0) {
    take(piece.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad()) fail("failed to read", path);
}

}  // namespace

std::string sha256_of(const std::string& bytes) {
  Sha256 hash;
  hash.add(bytes.data(), bytes.size());
  return hash.digits();
}

std::string sha256_of_file(const std::string& path) {
  Sha256 hash;
  read_pieces(path, [&](const char* bytes, std::size_t size) { hash.add(bytes, size); });
  return hash.digits();
}

std::string text_of_file(const std::string& path) {
  std::string text;
  read_pieces(path, [&](const char* bytes, std::size_t size) { text.append(bytes, size); });
  return text;
}

void write_whole(const std::string& path, const std::string& bytes) {
  const std::string partial = path + ".partial";
  std::ofstream file(partial, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file || std::rename(partial.c_str(), path.c_str()) != 0) {
    const int error = errno;
    std::remove(partial.c_str());
    errno = error;
    fail("failed to write", path);
  }
}

void link_to(const std::string& target, const std::string& path) {
  if (symlink(target.c_str(), path.c_str()) == 0) return;
  std::error_code unreadable;
  if (errno == EEXIST && fs::read_symlink(path, unreadable) == target) return;
  if (errno == EEXIST && fs::equivalent(target, path, unreadable)) return;
  fail("failed to link", path);
}

std::string make_directory_of_its_own(const std::string& prefix) {
  std::string name = prefix + "XXXXXX";
  if (mkdtemp(name.data()) == nullptr) fail("mkdir failed", name);
  // As any other directory: mkdtemp lets nobody else in.
  const mode_t mask = umask(0);
  umask(mask);
  fs::permissions(name, static_cast<fs::perms>(0777 & ~mask));
  return name;
}

std::vector<std::string> names_below(const std::string& dir) {
  std::vector<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(dir)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    names.push_back(entry.path().string().substr(dir.size() + 1));
  }
  std::sort(names.begin(), names.end());
  return names;
}

void move_aside(const std::string& path, const std::string& folder) {
  ensure_dir(folder);
  const std::string place =
      make_directory_of_its_own(folder + "/" + fs::path(path).filename().string() + ".");
  fs::rename(path, place + "/" + fs::path(path).filename().string());
}

FolderLock::FolderLock(const std::string& folder)
    : file_(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (file_ < 0) fail("failed to open", folder);
  if (flock(file_, LOCK_EX | LOCK_NB) != 0) {
    close(file_);
    throw std::runtime_error("another kavrel-shard works on " + folder);
  }
}

FolderLock::~FolderLock() { close(file_); }

}  // namespace kavrel::shard
