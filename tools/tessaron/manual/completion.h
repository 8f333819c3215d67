#pragma once
// What the shells' completion asks the program: which words can follow on a command line.

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace tessaron::tool {

/// What can take the place of the last of `words`, which stand behind the program's name. The first
/// line is "files" or "folders" when names of these can, and otherwise "words" with a line for each
/// candidate: the word and, behind a tab, what it is. A candidate that ends with ":" or "=" is to
/// be continued. Fails never: what cannot be looked up is left out.
std::string completionsOf(const CLI::App& app, const std::vector<std::string>& words);

}  // namespace tessaron::tool
