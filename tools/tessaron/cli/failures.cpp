#include "cli/failures.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>

#include "cli/terminal.h"

namespace tessaron::tool {

std::string reasonOf(int number) { return std::generic_category().message(number); }

void say(const std::string& text) {
  std::fputs(text.c_str(), stderr);
  std::fflush(stderr);
}

void warn(std::string_view line) { say(fmt::format("tessaron: {}\n", printable(line))); }

void note(const Context& context, std::string_view line) {
  if (context.quiet) return;
  say(printable(line) + (editSession().isTrial ? " (nothing written)\n" : "\n"));
}

void throwWriteFailure(const std::string& path, const std::error_code& error) {
  if (error == std::errc::broken_pipe) throw BrokenPipe{};
  const bool midway = error == std::errc::io_error || error == std::errc::no_space_on_device ||
                      error == std::errc::file_too_large || error.value() == EDQUOT;
  throw Failure{midway ? kCannotWrite : kCannotCreate, path, error.message()};
}

}  // namespace tessaron::tool
