#pragma once
// The manual: a page for the program, one for each verb, one about queries, one about the file.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "manual/page.h"

namespace CLI {
class App;
}

namespace tessaron::tool {

/// What there are pages about, as `help` takes them: "tessaron", the verbs, "query", "collection".
std::vector<std::string> topics(const CLI::App& app);

/// The page about a topic; nothing when there is none. Verbs, options and what they do are those of
/// the command line itself, so that page and --help cannot differ.
std::optional<Page> pageAbout(const CLI::App& app, const std::string& topic);

/// What the pages tell beyond --help: plain texts, see `parseBlocks`. Empty when there is none.
std::string_view examplesOf(std::string_view verb);
extern const std::string_view kDescription;       ///< of the program
extern const std::string_view kEnvironment;       ///< all variables
extern const std::string_view kFiles;             ///< all files that are read and written unasked
extern const std::string_view kExitStatus;        ///< all exit codes
extern const std::string_view kQueryText;         ///< how items are searched for
extern const std::string_view kQueryShellText;    ///< how shell and options get along with that
extern const std::string_view kCollectionText;    ///< the file's structure
extern const std::string_view kCollectionSample;  ///< a file

}  // namespace tessaron::tool
