#include "cli/failures.h"

#include <fmt/format.h>

#include "cli/terminal.h"
#include "platform/standard_streams.h"
#include "platform/system.h"

namespace tessaron::tool {

void say(const std::string& text) {
  [[maybe_unused]] const std::error_code ignored = writeTo(StandardStream::Error, text);
}

void warn(std::string_view line) { say(fmt::format("tessaron: {}\n", printable(line))); }

void note(const Context& context, std::string_view line) {
  if (context.quiet) return;
  say(printable(line) + (editSession().isTrial ? " (nothing written)\n" : "\n"));
}

void throwWriteFailure(const std::string& path, const std::error_code& error) {
  if (error == std::errc::broken_pipe) throw BrokenPipe{};
  throw Failure{isWriteError(error) ? kCannotWrite : kCannotCreate, path, error.message()};
}

}  // namespace tessaron::tool
