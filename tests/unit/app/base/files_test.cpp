#include "app/base/files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <numeric>
#include <string>
#include <vector>

#include "tests/support/test_support.h"

namespace kavrel {
namespace {

using kavrel_test::failure_of;
using kavrel_test::TempDir;
using testing::ElementsAre;
using testing::IsEmpty;

// Something that stands in the directory but that nobody can open, the superuser included.
void make_unopenable(const std::string& path) {
  const int socket_fd = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  ASSERT_LT(path.size(), sizeof address.sun_path);
  path.copy(address.sun_path, path.size());
  ASSERT_EQ(bind(socket_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  close(socket_fd);
}

std::string counting_bytes(std::size_t count) {
  std::string bytes(count, '\0');
  std::iota(bytes.begin(), bytes.end(), '\0');
  return bytes;
}

TEST(EnsureDir, MakesADirectoryWithItsParents) {
  const TempDir dir;
  ensure_dir(dir.path("a/b/c"));
  EXPECT_TRUE(std::filesystem::is_directory(dir.path("a/b/c")));
}

TEST(EnsureDir, AcceptsAnExistingDirectoryAndKeepsWhatIsInIt) {
  const TempDir dir;
  dir.write("a/file", "kept");
  ensure_dir(dir.path("a"));
  EXPECT_EQ(dir.read("a/file"), "kept");
}

TEST(EnsureDir, TakesAnEmptyPathForNothingToDo) { EXPECT_NO_THROW(ensure_dir("")); }

TEST(EnsureDir, MakesExactlyTheNameThatItWasGiven) {
  const TempDir dir;
  for (const std::string name : {"it's", "two words", "$HOME", "a;b", "`x`", "*", "品川"}) {
    ensure_dir(dir.path(name));
    EXPECT_TRUE(std::filesystem::is_directory(dir.path(name))) << name;
  }
  EXPECT_EQ(dir.names().size(), 7U);
}

TEST(EnsureDir, SaysWhichDirectoryCannotBeMade) {
  const TempDir dir;
  const std::string path = dir.write("fi'le", "") + "/child";
  EXPECT_EQ(failure_of([&] { ensure_dir(path); }), "mkdir failed: " + path);
}

TEST(FileExists, TellsAFileFromNone) {
  const TempDir dir;
  dir.write("empty", "");
  EXPECT_TRUE(file_exists(dir.path("empty")));
  EXPECT_FALSE(file_exists(dir.path("missing")));
  EXPECT_FALSE(file_exists(""));
}

TEST(FileExists, TakesAFileThatCannotBeOpenedForMissing) {
  const TempDir dir;
  make_unopenable(dir.path("socket"));
  ASSERT_TRUE(dir.exists("socket"));
  EXPECT_FALSE(file_exists(dir.path("socket")));
}

TEST(ReadFileBinary, ReturnsEveryByteAsItIs) {
  const TempDir dir;
  const std::string bytes = counting_bytes(256) + "\r\n\r\n" + std::string(3, '\0');
  const auto read = read_file_binary(dir.write("bytes", bytes));
  EXPECT_EQ(std::string(read.begin(), read.end()), bytes);
}

TEST(ReadFileBinary, ReadsFilesOfAnySizeToTheirEnd) {
  const TempDir dir;
  for (const std::size_t size : {1U, 4096U, 65535U, 65536U, 65537U, 131072U, 300001U}) {
    const std::string bytes = counting_bytes(size);
    const auto read = read_file_binary(dir.write("bytes", bytes));
    EXPECT_TRUE(std::string(read.begin(), read.end()) == bytes) << size;
  }
}

TEST(ReadFileBinary, TakesAnEmptyFileForNoBytes) {
  const TempDir dir;
  EXPECT_THAT(read_file_binary(dir.write("empty", "")), IsEmpty());
}

TEST(ReadFileBinary, SaysWhichFileItCannotRead) {
  const TempDir dir;
  const std::string missing = dir.path("missing");
  EXPECT_EQ(failure_of([&] { read_file_binary(missing); }), "failed to open binary: " + missing);
  const std::string directory = dir.path();
  EXPECT_EQ(failure_of([&] { read_file_binary(directory); }),
            "failed to open binary: " + directory);
}

TEST(ReadTrimmedLines, DropsWhatIsBlankAndTrimsTheRest) {
  const TempDir dir;
  const std::string path = dir.write("lines", "\n  \ntokyo \r\n\n");
  EXPECT_THAT(read_trimmed_lines(path), ElementsAre("tokyo"));
}

TEST(ReadTrimmedLines, KeepsFileOrderDuplicatesAndEveryKindOfLine) {
  const TempDir dir;
  const std::string path = dir.write("lines", "b\n\ta b\n#c\n\u3000\nb\nend");
  EXPECT_THAT(read_trimmed_lines(path), ElementsAre("b", "a b", "#c", "\u3000", "b", "end"));
}

TEST(ReadTrimmedLines, SeparatesLinesAtLineFeedsOnly) {
  const TempDir dir;
  EXPECT_THAT(read_trimmed_lines(dir.write("lines", "a\rb\vc\nd")), ElementsAre("a\rb\vc", "d"));
}

TEST(ReadTrimmedLines, ReadsAnEmptyFileAsNoLines) {
  const TempDir dir;
  EXPECT_THAT(read_trimmed_lines(dir.write("lines", "")), IsEmpty());
}

TEST(ReadTrimmedLines, SaysWhichFileItCannotRead) {
  const TempDir dir;
  const std::string missing = dir.path("missing");
  EXPECT_EQ(failure_of([&] { read_trimmed_lines(missing); }), "failed to open: " + missing);
  const std::string directory = dir.path();
  EXPECT_EQ(failure_of([&] { read_trimmed_lines(directory); }), "failed to open: " + directory);
}

TEST(ReadTrimmedLines, FailsInTheWordsOfItsCaller) {
  const TempDir dir;
  const std::string missing = dir.path("missing");
  EXPECT_EQ(failure_of([&] { read_trimmed_lines(missing, "no list: "); }), "no list: " + missing);
}

}  // namespace
}  // namespace kavrel
