#pragma once

#include <cstdint>
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
  /// Keeps a row of texts and returns its place, for `read`. Fails with kCannotWrite when the
  /// temporary file cannot take it.
  std::uint64_t add(const std::vector<std::string>& row);
  /// The row at a place. Fails as `add` does.
  std::vector<std::string> read(std::uint64_t place) const;
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

  void readBytes(std::uint64_t place, char* to, std::size_t size) const;

  std::string block_;  // each row: the number of its texts, then each text's size and bytes
  std::vector<std::size_t> spilled_;  // the sizes of the blocks in the file
  std::uint64_t spilledSize_ = 0;     // their sum
  std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace tessaron::tool
