#include "support/string_table.h"

#include <algorithm>

namespace tessaron {
namespace {

struct Entry {
  std::uint32_t number;
  std::u16string_view text;
};

constexpr Entry kStrings[] = {
#define TESSARON_STRING(number, text) {number, u"" text},
#include "resources/strings.def"
#undef TESSARON_STRING
};

static_assert(std::ranges::adjacent_find(kStrings, std::ranges::greater_equal{}, &Entry::number) ==
                  std::ranges::end(kStrings),
              "the numbers ascend");

}  // namespace

std::u16string_view stringAt(std::uint32_t number) {
  const auto found = std::ranges::lower_bound(kStrings, number, {}, &Entry::number);
  if (found == std::ranges::end(kStrings) || found->number != number) return {};
  return found->text;
}

}  // namespace tessaron
