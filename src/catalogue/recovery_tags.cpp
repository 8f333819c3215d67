#include <algorithm>

#include "catalogue/recovery_tags_internal.h"

namespace tessaron {

bool isItemTag(FileText& text, std::uint64_t at) {
  constexpr std::size_t kLength = sizeof("<Details");
  const std::string_view rest = text.view(at, kLength);
  for (const std::string_view tag : {"<Item", "<Details"}) {
    if (!rest.starts_with(tag) || rest.size() == tag.size()) continue;
    if (std::string_view(" \t\r\n/>").find(rest[tag.size()]) != std::string_view::npos) return true;
  }
  return false;
}

std::uint64_t findItemTag(FileText& text, std::uint64_t from, std::uint64_t to) {
  while ((from = text.find("<", from, to)) != FileText::npos && !isItemTag(text, from)) ++from;
  return from;
}

std::uint64_t findSwallower(FileText& text, std::uint64_t from, std::uint64_t to) {
  for (const auto& [opening, closing] : kSections) {
    std::uint64_t begin = from;
    while ((begin = text.find(opening, begin, to)) != FileText::npos) {
      const std::uint64_t end = std::min(text.find(closing, begin + opening.size(), to), to);
      if (text.find(opening, begin + 1, end) != FileText::npos &&
          findItemTag(text, begin + 1, end) != FileText::npos)
        return begin;
      begin = end;
    }
  }
  return FileText::npos;
}

}  // namespace tessaron
