#pragma once

#include <cmath>
#include <string>

#include "support/units.h"

namespace tessaron {

/// An angle of 0 to 180 degrees with minutes and seconds, to a tenth: 48° 51' 29.6".
inline std::u16string angleText(double degrees) {
  constexpr int kTenths = 36000;  // of a second, in a degree
  const auto tenths = static_cast<int>(std::lround(degrees * kTenths));
  const int whole = tenths / kTenths;
  const int minutes = tenths / 600 % 60;
  return decimalText(whole, 0) + u"\u00B0 " + decimalText(minutes, 0) + u"' " +
         decimalText(tenths % 600 / 10.0, 1) + u'"';
}

}  // namespace tessaron
