#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/file.h"
#include "themes/package.h"

namespace tessaron {

/// Reads a package front to back, once, through buffers of fixed size, into a CPackage.
class PackageReader {
 public:
  /// `entryLimit` is what an entry may inflate to at most.
  PackageReader(CPackage& package, File& file, std::size_t entryLimit = std::size_t{256} << 20);

  /// As CPackage::Initialize, without its last two calls.
  void unpack(const std::u16string& destination, bool extractAll);
  /// As CPackage::Inspect, without its last two calls.
  void inspect(bool readAll);

 private:
  using Entry = PackageReport::Entry;
  enum class Use { Index, Inspect, Unpack };

  // What an entry's bytes become: a document, files, or nothing.
  struct Sinks {
    struct Target {
      std::u16string name;
      std::unique_ptr<File> file;  // null once it could not be written to
    };
    bool isDocument = false;
    bool documentTooLong = false;
    std::string document;
    std::vector<Target> files;
  };
  // What the index says about an entry.
  struct Plan {
    std::vector<std::u16string> names;
    bool isMain = false;
    bool isLast = false;  // nothing behind it is wanted
  };

  bool readHeader();
  void openFolder(const std::u16string& destination);
  void readEntries(bool all);
  bool readEntry(Entry entry, bool all);
  Plan planFor(const Entry& entry, bool all);
  void readIndex();
  void parse(const Entry& entry, Sinks& sinks, TiXmlDocument& document);

  bool accepts(const Entry& entry, const std::u16string& name);
  void createFiles(const Entry& entry, const std::vector<std::u16string>& names, Sinks& sinks);

  std::optional<std::size_t> fill(std::span<std::byte> buffer);
  void inflateData(const Entry& entry, std::size_t firstPiece, Sinks& sinks);
  void give(const Entry& entry, std::span<const std::byte> bytes, Sinks& sinks);
  void addProblem(const Entry& entry, std::u16string_view name, std::string reason);

  CPackage& package_;
  File& file_;
  const std::size_t entryLimit_;
  Use use_ = Use::Index;
  std::unique_ptr<OutputFolder> folder_;  // null when there is none to write to
  int failedReads_ = 0;                   // in a row
  std::unordered_map<std::uint32_t, std::vector<std::string>> names_;  // of the index, by id
  std::map<std::u16string, std::u16string> taken_;  // names in capitals, and as they came first
  std::vector<std::byte> in_;
  std::vector<std::byte> out_;
};

}  // namespace tessaron
