#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "covers/cover_maker.h"

namespace tessaron::tool {

/// The widest picture that is fetched, in pixels.
inline constexpr std::uint32_t kMaxCoverWidth = 1000;

/// An item whose cover is wanted.
struct CoverWish {
  std::u16string key;
  std::vector<std::string> addresses;  ///< of pictures, the largest one first
};

/// What came of a wish: the first picture of its addresses that is at most kMaxCoverWidth wide.
struct FetchedCover {
  std::string bytes;
  CoverPicture picture;
  std::string failure;  ///< address and reason, for the last address; empty when there is a picture
};

/// Fetches covers, four at a time, with a pause between two requests to the same host. `deliver` is
/// called on this thread with each wish's number, in the order in which they come; `wait` several
/// times a second. What these throw ends the requests and is thrown again.
void fetchCovers(const std::vector<CoverWish>& wishes,
                 const std::function<void(std::size_t number, FetchedCover&& cover)>& deliver,
                 const std::function<void()>& wait);

}  // namespace tessaron::tool
