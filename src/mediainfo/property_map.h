#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Label number (a string-table entry, such as 40101 "Format") to value, in ascending order.
using PropertyMap = std::map<std::uint32_t, std::u16string>;
/// One property map per audio or video stream, in the order found.
using StreamList = std::vector<PropertyMap>;

namespace tessaron {

/// The labels that streams are described under.
enum StreamLabel : std::uint32_t {
  kDimensions = 40003,  ///< "320 x 240", pixels
  kFormat = 40101,
  kDataRate = 40102,  ///< "4.79 Mbps"
  kChannels = 40103,  ///< "2"
  kSample = 40104,    ///< "44100 Hz, 16 bit"
  kMode = 40105,
  kRunTime = 40106,      ///< "1:02:33"
  kFrameRate = 40107,    ///< "29.97 fps"
  kAspectRatio = 40108,  ///< "16:9"
};

}  // namespace tessaron
