#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "catalogue/file_match.h"
#include "cli/context.h"
#include "cli/options.h"
#include "cli/output.h"
#include "mediainfo/file_info.h"
#include "output/table.h"

namespace tessaron::tool {

/// Tells of each file which items of a collection it may belong to, the best three, and links it.
/// One thread at a time.
class MatchList {
 public:
  struct Options {
    std::string collection;
    int minScore = 50;   ///< the lowest score that is told
    bool links = false;  ///< keep the clear matches for `link`
  };

  /// Reads the collection. Fails as CollectionReader does. `context` and `output` must outlive it.
  MatchList(const Options& options, Form form, const Context& context, Output& output);

  /// Writes a row for each match of the file, and one without an item when there is none.
  void add(const CFileInfo& file);
  void finish();
  /// Links the files whose matches are clear, all in one step. Fails as `changeCollection` does.
  void link();

 private:
  void write(const std::string& path, const FileMatch& match, const char* state);
  void keepLink(const CFileInfo& file, std::size_t place);

  Options options_;
  Form form_;
  const Context& context_;
  Output& output_;
  std::u16string folder_;
  FileMatcher matcher_;
  LinkMatches::Links links_;
  std::size_t linked_ = 0;  // files in `links_`
  Table table_;
  bool isEmpty_ = true;
};

}  // namespace tessaron::tool
