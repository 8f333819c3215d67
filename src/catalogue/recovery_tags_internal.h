#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "catalogue/file_text_internal.h"

namespace tessaron {

/// Comments and CDATA sections.
struct Section {
  std::string_view opening;
  std::string_view closing;
};
inline constexpr std::array kSections = {Section{"<!--", "-->"}, Section{"<![CDATA[", "]]>"}};

/// Whether the start tag of an item could stand at `at`.
bool isItemTag(FileText& text, std::uint64_t at);

/// The place of the first such tag between `from` and `to`; npos when there is none.
std::uint64_t findItemTag(FileText& text, std::uint64_t from, std::uint64_t to);

/// The first section between `from` and `to`, a part without an error, that swallows an item
/// because its own end is damaged and that of another one is taken for it; npos when there is none.
std::uint64_t findSwallower(FileText& text, std::uint64_t from, std::uint64_t to);

}  // namespace tessaron
