#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "mediainfo/file_info.h"
#include "platform/worker.h"
#include "scan/file_index.h"

namespace tessaron::tool {

/// A file to be described.
struct FileRequest {
  std::u16string path;    ///< with a separator
  std::string whole;      ///< the absolute path, for the index
  std::string thumbnail;  ///< where its thumbnail is to be written; empty for none
};

/// The result of describing one file.
struct FileResult {
  CFileInfo info;
  Change change = Change::New;  ///< since the index was written
  std::string before;           ///< the path of a file that was moved since then
  std::string thumbnail;        ///< path of the file that was written
  std::string failure;          ///< why it is not described; empty when it is
  bool isUndecodable = false;   ///< only the picture's header could be read
};

/// Describes files. Opens them, but has their content read by worker processes: name, size, times
/// and attributes are its own, all else is what a worker has answered. Each thread has a worker of
/// its own.
class Describer {
 public:
  struct Options {
    std::int32_t detectMask = 0;
    bool isByName = false;                 ///< as in DescribedView
    bool wantsLocation = false;            ///< as in DescribedView
    std::chrono::milliseconds patience{};  ///< for one file
    FileIndex* index = nullptr;            ///< what is known already; must outlive the describer
  };

  /// For as many threads.
  Describer(const Options& options, std::size_t threads);

  /// Describes a file that the index knows and that has not changed, without opening it; nothing
  /// for others. Not while `describe` runs.
  std::optional<FileResult> recall(const FileRequest& request) const;

  /// Describes a file, and writes its thumbnail. `thread` is the number of the calling thread, from
  /// 0 on. Fails as `writeOutput` and the index do.
  FileResult describe(const FileRequest& request, std::size_t thread);

  /// Ends all workers at once; what they were reading fails. From any thread.
  void stop();

 private:
  Options options_;
  std::vector<std::unique_ptr<Worker>> workers_;
};

}  // namespace tessaron::tool
