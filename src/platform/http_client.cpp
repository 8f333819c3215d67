#include "platform/http_client.h"

#include <algorithm>
#include <array>

#include "support/ascii.h"

namespace tessaron {
namespace {

struct Network {
  std::array<std::uint8_t, 4> start;
  int bits;
};

constexpr Network kPrivateNetworks[] = {
    {{0, 0, 0, 0}, 8},      {{10, 0, 0, 0}, 8},    {{100, 64, 0, 0}, 10}, {{127, 0, 0, 0}, 8},
    {{169, 254, 0, 0}, 16}, {{172, 16, 0, 0}, 12}, {{192, 0, 0, 0}, 24},  {{192, 168, 0, 0}, 16},
    {{198, 18, 0, 0}, 15},  {{224, 0, 0, 0}, 3},
};

bool isPrivateV4(std::span<const std::uint8_t> bytes) {
  const auto number = [](std::span<const std::uint8_t> four) {
    return std::uint32_t{four[0]} << 24 | std::uint32_t{four[1]} << 16 |
           std::uint32_t{four[2]} << 8 | four[3];
  };
  return std::ranges::any_of(kPrivateNetworks, [&](const Network& network) {
    return (number(bytes) ^ number(network.start)) >> (32 - network.bits) == 0;
  });
}

bool startsWith(std::span<const std::uint8_t> bytes, std::initializer_list<std::uint8_t> head) {
  return std::equal(head.begin(), head.end(), bytes.begin());
}

}  // namespace

bool isPrivateAddress(std::span<const std::uint8_t> bytes) {
  if (bytes.size() == 4) return isPrivateV4(bytes);
  if (bytes.size() != 16) return true;
  // IPv4 addresses: mapped, translated (64:ff9b::/96), 6to4 (2002::/16).
  if (startsWith(bytes, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF}) ||
      startsWith(bytes, {0, 0x64, 0xFF, 0x9B, 0, 0, 0, 0, 0, 0, 0, 0}))
    return isPrivateV4(bytes.subspan(12));
  if (startsWith(bytes, {0x20, 0x02})) return isPrivateV4(bytes.subspan(2, 4));
  return (bytes[0] & 0xE0) != 0x20;  // all that is on the Internet is in 2000::/3
}

std::string hostOf(const std::string& address) {
  const std::string lower = lowerLetters(address);
  std::size_t begin = 0;
  for (const std::string_view scheme : {"http://", "https://"})
    if (lower.starts_with(scheme)) begin = scheme.size();
  if (begin == 0) return {};
  const std::string host = lower.substr(begin, lower.find_first_of("/?#\\", begin) - begin);
  return host.find('@') == host.npos ? host : std::string();
}

}  // namespace tessaron
