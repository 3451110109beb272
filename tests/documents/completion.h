// What bash offers for the words of a command line.
#ifndef KAVREL_TESTS_DOCUMENTS_COMPLETION_H
#define KAVREL_TESTS_DOCUMENTS_COMPLETION_H

#include <string>
#include <vector>

namespace kavrel_test {

using Words = std::vector<std::string>;

// The lines that a shell command prints. Throws std::runtime_error if it fails.
Words lines_from(const std::string& command);

// What `function`, the completion of the program words[0], offers for the last word, sorted.
Words offered(const std::string& function, const Words& words);

}  // namespace kavrel_test

#endif
