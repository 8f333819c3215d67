#include "output/json.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "cli/output.h"

namespace tessaron::tool {

std::string jsonText(const nlohmann::ordered_json& document) {
  const std::string dumped = document.dump(2);
  std::string text;
  text.reserve(dumped.size() + 1);
  // JSON leaves U+007F to U+009F alone, but terminals obey some of them.
  for (std::size_t i = 0; i < dumped.size(); ++i) {
    const auto byte = static_cast<unsigned char>(dumped[i]);
    const auto next = static_cast<unsigned char>(i + 1 < dumped.size() ? dumped[i + 1] : 0);
    if (byte == 0x7F) {
      text += "\\u007f";
    } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
      text += fmt::format("\\u{:04x}", next);
      ++i;
    } else {
      text += dumped[i];
    }
  }
  return text;
}

std::string indented(std::string_view text, std::size_t columns) {
  std::string out;
  for (const char c : text) {
    out += c;
    if (c == '\n') out.append(columns, ' ');
  }
  return out;
}

void printJson(const nlohmann::ordered_json& document) { print(jsonText(document) + '\n'); }

}  // namespace tessaron::tool
