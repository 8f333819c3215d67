#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tessaron::tool {

/// Stores rows in order. Keeps a few in memory and spills the others to an unnamed temporary file.
class RowStore {
 public:
  /// Keeps a row of texts. Fails with kCannotWrite when the temporary file cannot take it.
  void add(const std::vector<std::string_view>& row);
  /// Calls `visit` with every row. The views are valid during the call. Fails as `add` does.
  void forEach(const std::function<void(const std::vector<std::string_view>&)>& visit) const;
  bool isEmpty() const { return block_.empty() && !file_; }

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  static void visitBlock(std::string_view block,
                         const std::function<void(const std::vector<std::string_view>&)>& visit);
  void spill();

  std::string block_;  // each row: the number of its texts, then each text's size and bytes
  std::vector<std::size_t> spilled_;  // the sizes of the blocks in the file
  std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace tessaron::tool
