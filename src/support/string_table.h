#pragma once

#include <cstdint>
#include <string_view>

#include "tessaron_export.h"

namespace tessaron {

/// The user-visible text at a number of the string table; empty when there is none.
TESSARON_API std::u16string_view stringAt(std::uint32_t number);

}  // namespace tessaron
