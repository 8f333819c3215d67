#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Label number (see mediainfo/labels.h) to value, in ascending order.
using PropertyMap = std::map<std::uint32_t, std::u16string>;
/// One property map per audio or video stream, in the order found.
using StreamList = std::vector<PropertyMap>;
