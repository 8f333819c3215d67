#include "cli/status_names.h"

#include <fmt/format.h>

#include "cli/failures.h"
#include "records/due.h"

namespace tessaron::tool {

int parseStatus(std::string_view name) {
  if (const auto status = statusNamed(name)) return *status;
  throw Failure{
      kUsage, {}, fmt::format("\"{}\" is no status; there are {}", name, statusChoices())};
}

std::string statusChoices() {
  std::string choices;
  for (std::int32_t status = 0; status < kStatusCount; ++status)
    choices += (status == 0 ? "" : ", ") + typedStatusName(status);
  return choices;
}

}  // namespace tessaron::tool
