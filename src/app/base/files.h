// File functions. Paths are byte strings, used as they stand. Failures are thrown as
// std::runtime_error: the quoted prefix followed by the path.
#ifndef KAVREL_APP_BASE_FILES_H
#define KAVREL_APP_BASE_FILES_H

#include <istream>
#include <string>
#include <vector>

namespace kavrel {

// Makes the directory and its parents; an existing one and an empty path are fine.
// Throws "mkdir failed: ".
void ensure_dir(const std::string& path);

// Whether the file can be opened for reading.
bool file_exists(const std::string& path);

// Every byte of the file. Throws "failed to open binary: ".
std::vector<unsigned char> read_file_binary(const std::string& path);

// The rest of the stream's lines, trimmed, without those that are empty then.
std::vector<std::string> trimmed_lines(std::istream& stream);

// The same of a file. Throws `failure`.
std::vector<std::string> read_trimmed_lines(const std::string& path,
                                            const std::string& failure = "failed to open: ");

}  // namespace kavrel

#endif
