#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Label to value, in ascending order. The label is a number in the string table, which names it.
using PropertyMap = std::map<std::uint32_t, std::u16string>;
/// One property map per audio or video stream, in the order found.
using StreamList = std::vector<PropertyMap>;
