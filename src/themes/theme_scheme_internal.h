#pragma once

#include <cstdint>

#include "themes/theme_scheme.h"

namespace tessaron {

/// An attribute that holds a whole number, and the member that takes it.
template <typename Owner>
struct NumberAttribute {
  const char* name;
  std::int32_t Owner::*member;
};

/// Of the element "virtualshelf".
inline constexpr NumberAttribute<CThemeScheme> kShelfNumbers[] = {
    {"uwidth", &CThemeScheme::uwidth},
    {"uheight", &CThemeScheme::uheight},
    {"uhspace", &CThemeScheme::uhspace},
    {"uvspace", &CThemeScheme::uvspace},
};

/// Of its children.
inline constexpr NumberAttribute<SchemeGroup> kGroupNumbers[] = {
    {"olx", &SchemeGroup::olx},
    {"oly", &SchemeGroup::oly},
    {"olwidth", &SchemeGroup::olwidth},
    {"olheight", &SchemeGroup::olheight},
};

}  // namespace tessaron
