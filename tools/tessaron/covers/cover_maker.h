#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "platform/worker.h"

namespace tessaron::tool {

/// A picture that is to be a cover, as a worker has found it.
struct CoverPicture {
  /// Why it cannot be a cover, as the end of a sentence; empty when it can.
  std::string failure;
  bool isOfSystem = false;  ///< the failure is one of the system, not of the picture
  std::uint32_t width = 0;  ///< pixels
  std::uint32_t height = 0;
  /// Thumbnails of kSmallCover and kMediumCover: JPEG, or PNG with transparency.
  std::string small;
  std::string medium;
};

/// The request to a worker, beside those for `scan`, and what the worker answers about the file.
inline constexpr std::string_view kCoverRequest = "cover";
std::string answerCoverRequest(File& file);

/// Has pictures checked and made smaller by a process of its own, since they come from anywhere.
/// For one thread at a time.
class CoverMaker {
 public:
  CoverMaker();
  CoverPicture make(std::string_view bytes);

 private:
  Worker worker_;
};

}  // namespace tessaron::tool
