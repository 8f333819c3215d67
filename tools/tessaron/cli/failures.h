#pragma once
// How a verb ends when it fails, what it tells on standard error, and the exit codes.

#include <string>
#include <string_view>
#include <system_error>

#include "cli/context.h"

namespace tessaron::tool {

enum ExitCode : int {
  kDone = 0,
  kFailed = 1,  ///< the request found nothing, or could not be carried out
  kUsage = 2,
  kBadData = 65,       ///< damaged or foreign data
  kNoInput = 66,       ///< an input is missing or unreadable
  kCannotCreate = 73,  ///< an output cannot be made where it is to stand
  kCannotWrite = 74,   ///< an error while writing
};

/// Ends a verb. `main` prints it as "tessaron: WHERE: REASON" and exits with `code`.
struct Failure {
  ExitCode code;
  std::string where;  ///< file[:line:column]; empty when it is about no file
  std::string reason;
};

/// Ends a verb silently: nobody reads what it writes any more. `main` ends the process as SIGPIPE
/// does.
struct BrokenPipe {};

/// One line on standard error, with the program's name in front: about something that went wrong.
void warn(std::string_view line);

/// One line on standard error, unless --quiet: about what was done.
void note(const Context& context, std::string_view line);

/// The system's words for an error number.
std::string reasonOf(int number);

/// Throws the failure that an error while writing `path` means.
[[noreturn]] void throwWriteFailure(const std::string& path, const std::error_code& error);

/// Writes to standard error. There is nobody to tell when that fails.
void say(const std::string& text);

}  // namespace tessaron::tool
