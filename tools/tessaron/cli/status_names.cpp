#include "cli/status_names.h"

#include <fmt/format.h>

#include <cctype>

#include "cli/failures.h"
#include "records/due.h"
#include "support/text.h"

namespace tessaron::tool {

std::string plainName(std::string_view name) {
  std::string plain;
  for (const char c : name)
    plain +=
        c == ' ' || c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return plain;
}

int parseStatus(std::string_view name) {
  for (int status = 0; status < kStatusCount; ++status)
    if (plainName(toUtf8(statusLabel(status))) == plainName(name)) return status;
  throw Failure{
      kUsage, {}, fmt::format("\"{}\" is no status; there are {}", name, statusChoices())};
}

std::string statusChoices() {
  std::string choices;
  for (int status = 0; status < kStatusCount; ++status)
    choices += (status == 0 ? "" : ", ") + plainName(toUtf8(statusLabel(status)));
  return choices;
}

}  // namespace tessaron::tool
