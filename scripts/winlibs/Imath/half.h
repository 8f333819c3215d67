// The one use that FreeImage's TIFF reader makes of Imath: widening a 16-bit float.
#pragma once
#include <cmath>
#include <limits>

class half {
 public:
  void setBits(unsigned short bits) { bits_ = bits; }

  operator float() const {
    const int exponent = bits_ >> 10 & 0x1f;
    const int fraction = bits_ & 0x3ff;
    float magnitude;
    if (exponent == 0x1f)
      magnitude = fraction ? std::numeric_limits<float>::quiet_NaN()
                           : std::numeric_limits<float>::infinity();
    else if (exponent == 0)  // subnormal: no hidden bit
      magnitude = std::ldexp(static_cast<float>(fraction), -24);
    else
      magnitude = std::ldexp(static_cast<float>(fraction + 0x400), exponent - 25);
    return bits_ & 0x8000 ? -magnitude : magnitude;
  }

 private:
  unsigned short bits_ = 0;
};
