#pragma once
// Statuses as the command line takes them.

#include <string>
#include <string_view>

namespace tessaron::tool {

/// The status that a name means, see `statusNamed`. Fails with kUsage, and the names that
/// there are, for any other.
int parseStatus(std::string_view name);

/// All names as they can be typed, with commas.
std::string statusChoices();

}  // namespace tessaron::tool
