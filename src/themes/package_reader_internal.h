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
#include "themes/staged_folder_internal.h"

namespace tessaron {

class Inflater;

/// Whether this is the name of the description, whatever its case (ASCII).
bool isMainName(std::string_view name);

/// What a package may hold. An entry above `fileSize` gives an empty file; above any other limit
/// the package is not unpacked.
struct PackageLimits {
  std::uint64_t fileSize = std::uint64_t{256} << 20;   ///< bytes of one entry when inflated
  std::uint64_t total = std::uint64_t{1} << 30;        ///< bytes of all files that it unpacks to
  std::size_t entries = 1 << 16;                       ///< with data
  std::size_t names = 1 << 12;                         ///< of all entries together
  std::uint64_t spareSpace = std::uint64_t{16} << 20;  ///< bytes that stay free on the disk
};

/// Reads a package front to back, once, through buffers of fixed size, into a CPackage. One thread
/// at a time.
class PackageReader {
 public:
  /// `package` and `file` must outlive the reader.
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
  using Target = StagedFolder::Target;
  enum class Use { Index, Inspect, Measure, Unpack };
  enum class Header { Entry, Skip, End };

  // Where an entry's bytes go: into a document, into files, or nowhere.
  struct Sinks {
    bool isDocument = false;
    bool documentTooLong = false;
    std::string document;
    std::vector<Target> files;
    bool isEmpty() const { return !isDocument && files.empty(); }
  };
  // What the index says about an entry.
  struct Plan {
    std::vector<std::u16string> names;
    bool isMain = false;
    bool isLast = false;  // reading ends after this entry
  };
  // The compressed data of the entry that is being read.
  struct Data {
    std::size_t left;  // bytes
    std::size_t got;   // bytes of the first block, which is in the buffer already
    bool isCut = false;
    std::uint64_t inflated = 0;  // bytes
  };

  bool readHeader();
  void openFolder(const std::u16string& destination);
  void readEntries(bool all);
  Header readEntryHeader(std::span<std::byte> header, Entry& entry);
  bool readEntry(Entry entry, bool all);
  Plan planFor(const Entry& entry, bool all);
  void readIndex();
  void addName(std::vector<std::string>& names, const std::string& name);
  void parse(const Entry& entry, Sinks& sinks, TiXmlDocument& document);

  bool accepts(const Entry& entry, const std::u16string& name);
  void openFiles(const Entry& entry, const std::vector<std::u16string>& names, Sinks& sinks);
  void openFile(const Entry& entry, const std::u16string& name, Sinks& sinks);

  std::optional<std::size_t> fill(std::span<std::byte> buffer);
  std::size_t fillData(std::span<std::byte> buffer);
  std::span<const std::byte> nextBlock(Data& data);
  void inflateData(const Entry& entry, std::size_t firstBlock, Sinks& sinks);
  bool inflateBlock(Inflater& inflater, std::span<const std::byte> input, Data& data, Sinks& sinks);
  void finishData(const Entry& entry, const Data& data, bool isDamaged, Sinks& sinks);
  void give(std::span<const std::byte> bytes, Sinks& sinks);
  void giveDocument(std::span<const std::byte> bytes, Sinks& sinks);
  void giveFiles(std::span<const std::byte> bytes, Sinks& sinks);
  void addProblem(const Entry& entry, std::u16string_view name, std::string reason);
  void fail(Failure failure, std::string reason);
  void failReading();
  void giveUp(Failure failure, std::string reason);

  CPackage& package_;
  File& file_;
  const PackageLimits limits_;
  Use use_ = Use::Index;
  std::unique_ptr<StagedFolder> folder_;  // null when nothing is written
  bool isGivenUp_ = false;
  int failedReads_ = 0;  // in a row
  std::size_t headers_ = 0, entries_ = 0, nameCount_ = 0;
  std::uint64_t fileBytes_ = 0, documentBytes_ = 0;  // inflated so far; files times their names
  std::unordered_map<std::uint32_t, std::vector<std::string>> names_;  // of the index, by id
  std::map<std::u16string, std::u16string> taken_;  // names in capitals, and as they came first
  std::vector<std::byte> in_;
  std::vector<std::byte> out_;
};

}  // namespace tessaron
