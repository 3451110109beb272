#include "tests/documents/completion.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "tests/support/temp_dir.h"

namespace kavrel_test {

Words lines_from(const std::string& command) {
  FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("cannot run: " + command);
  std::string text;
  for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
    text += static_cast<char>(byte);
  }
  if (pclose(pipe) != 0) throw std::runtime_error("failed: " + command);
  return lines_of(text);
}

// As bash does it: the function gets the program, the current word and the one before.
Words offered(const std::string& function, const Words& words) {
  std::string command = "bash -c 'source " KAVREL_SOURCE_DIR "/packaging/completions/$1; " +
                        ("COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); " + function) +
                        " \"$1\" \"${!#}\" \"${COMP_WORDS[COMP_CWORD - 1]}\"; "
                        "printf \"%s\\n\" \"${COMPREPLY[@]}\"' bash";
  for (const std::string& word : words) command += " '" + word + "'";
  Words all = lines_from(command);
  all.erase(std::remove(all.begin(), all.end(), ""), all.end());
  std::sort(all.begin(), all.end());
  return all;
}

}  // namespace kavrel_test
