#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "support/xml/xml.h"
#include "tessaron_export.h"

namespace tessaron {

/// What could be saved of a damaged collection.
struct Recovery {
  struct Fault {
    XmlError fault;               ///< offset, line and column count in the text as UTF-8
    std::size_t itemsBehind = 0;  ///< how many of the saved items begin behind its place
  };
  std::string text;           ///< a collection in UTF-8 with all whole items, in their order
  std::size_t items = 0;      ///< how many
  std::vector<Fault> faults;  ///< in the order of the text; none when the text was whole
};

/// Saves all whole items of `damaged`: goes on at the next whole item behind each fault. A text
/// without a fault comes back as it is. An item with bytes that are no characters of the encoding
/// is not whole. A text in an unknown encoding is read as UTF-8, unless too much of it is none.
/// Without an item the result is an empty collection.
TESSARON_API Recovery recover(std::string_view damaged);

}  // namespace tessaron
