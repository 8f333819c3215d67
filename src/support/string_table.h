#pragma once

#include <cstdint>
#include <string_view>

namespace tessaron {

/// The user-visible text at a number of the string table; empty when there is none.
std::u16string_view stringAt(std::uint32_t number);

}  // namespace tessaron
