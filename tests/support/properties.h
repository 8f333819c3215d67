#pragma once

#include <string>

#include "mediainfo/property_map.h"
#include "support/text.h"

/// A map as one line: "40101=MPEG-2 40102=4.68 Mbps".
inline std::string line(const PropertyMap& map) {
  std::string text;
  for (const auto& [label, value] : map) {
    text += (text.empty() ? "" : " ") + std::to_string(label) + '=' + tessaron::toUtf8(value);
  }
  return text;
}

/// One line for each map.
inline std::string lines(const StreamList& streams) {
  std::string text;
  for (const PropertyMap& map : streams) text += line(map) + '\n';
  return text;
}
