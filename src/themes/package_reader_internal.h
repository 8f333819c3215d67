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

/// What a package may hold. One that exceeds `fileSize` loses the file, one that exceeds another
/// limit is given up.
struct PackageLimits {
  std::uint64_t fileSize = std::uint64_t{256} << 20;   ///< bytes of one entry when inflated
  std::uint64_t total = std::uint64_t{1} << 30;        ///< bytes of all files that it unpacks to
  std::size_t entries = 1 << 16;                       ///< with data
  std::size_t names = 1 << 12;                         ///< of all entries together
  std::uint64_t spareSpace = std::uint64_t{16} << 20;  ///< bytes that stay free on the disk
};

/// Reads a package front to back, once, through buffers of fixed size, into a CPackage.
class PackageReader {
 public:
  PackageReader(CPackage& package, File& file, const PackageLimits& limits = {});

  /// As CPackage::Initialize, without its last two calls.
  void unpack(const std::u16string& destination, bool extractAll);
  /// As CPackage::Inspect, without its last two calls.
  void inspect(bool readAll);
  /// As CPackage::Measure, without its last two calls.
  void measure();

 private:
  using Entry = PackageReport::Entry;
  using Failure = PackageReport::Failure;
  enum class Use { Index, Inspect, Measure, Unpack };

  // A file to be unpacked. As long as its bytes are those of the file that has its name already,
  // nothing is written; from then on all goes into a file beside that. Measuring only counts.
  struct Target {
    std::u16string name;
    std::unique_ptr<File> old;     // null when there is none, or when its content differs
    std::unique_ptr<File> staged;  // null as long as nothing is written
    std::uint64_t size = 0;        // bytes so far
  };
  // A written file that waits to be put in its place.
  struct Staged {
    std::uint32_t entry;
    std::u16string file;
  };
  // What an entry's bytes become: a document, files, or nothing.
  struct Sinks {
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
  bool takesFiles() const { return folder_ || use_ == Use::Measure; }
  void createFiles(const Entry& entry, const std::vector<std::u16string>& names, Sinks& sinks);

  std::optional<std::size_t> fill(std::span<std::byte> buffer);
  void inflateData(const Entry& entry, std::size_t firstPiece, Sinks& sinks);
  void give(const Entry& entry, std::span<const std::byte> bytes, Sinks& sinks);
  bool matchesOld(Target& target, std::span<const std::byte> bytes);
  bool stage(const Entry& entry, Target& target);
  void finishFiles(const Entry& entry, Sinks& sinks);
  bool hasSpace(std::uint64_t bytes) const;
  void commit();
  void removeStaged();
  void addProblem(const Entry& entry, std::u16string_view name, std::string reason);
  void fail(Failure failure, std::string reason);
  void giveUp(Failure failure, std::string reason);

  CPackage& package_;
  File& file_;
  const PackageLimits limits_;
  Use use_ = Use::Index;
  std::unique_ptr<OutputFolder> folder_;  // null when there is none to write to
  std::optional<FolderLock> lock_;        // on that folder
  bool isGivenUp_ = false;
  int failedReads_ = 0;  // in a row
  std::size_t headers_ = 0, entries_ = 0, nameCount_ = 0;
  std::uint64_t fileBytes_ = 0, documentBytes_ = 0;  // inflated so far; files times their names
  std::unordered_map<std::uint32_t, std::vector<std::string>> names_;  // of the index, by id
  std::map<std::u16string, std::u16string> taken_;  // names in capitals, and as they came first
  std::map<std::u16string, Staged> staged_;         // by name
  std::vector<std::byte> in_;
  std::vector<std::byte> out_;
  std::vector<std::byte> old_;
};

}  // namespace tessaron
