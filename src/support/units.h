#pragma once

#include <string>

#include "tessaron_export.h"

/// A number with its unit as people write it, with three significant digits and the prefix that
/// leaves one to three digits before the point: 4790000 "bps" with "kmgtp" and 1000 is "4.79 Mbps".
/// Each letter of `prefixes` stands for one division by `step`, which must be above 1; all but "k"
/// are written in upper case ("m" would be milli). The text is cut to 127 characters. What is no
/// number is written as 0.
TESSARON_API std::u16string hr_unitCalculator(double value, std::u16string unit,
                                              std::u16string prefixes, double step);

namespace tessaron {

/// A data rate in bits per second: "4.79 Mbps".
TESSARON_API std::u16string dataRateText(double bitsPerSecond);

/// A run time in whole seconds, rounded: "1:02:33", "3:05", "0:07".
TESSARON_API std::u16string runTimeText(double seconds);

/// A number with up to `decimals` decimal places, without zeros at the end: "29.97", "25".
TESSARON_API std::u16string decimalText(double value, int decimals);

}  // namespace tessaron
