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
  kCannotCreate = 73,  ///< an output cannot be created at its path
  kCannotWrite = 74,   ///< an error while writing
};

/// Ends a verb. `main` prints it as "tessaron: WHERE: REASON" and exits with `code`.
struct Failure {
  ExitCode code;
  std::string where;  ///< file[:line:column]; empty when it is about no file
  std::string reason;
};

/// Ends a verb silently because the reader of its output is gone. `main` ends the process as
/// SIGPIPE does.
struct BrokenPipe {};

/// Prints a line about a failure to standard error, after the program's name.
void warn(std::string_view line);

/// Prints a line about what was done to standard error, unless --quiet; after a trial it says that
/// nothing was.
void note(const Context& context, std::string_view line);

/// Throws the failure that an error while writing `path` means.
[[noreturn]] void throwWriteFailure(const std::string& path, const std::error_code& error);

/// Writes to standard error; a failure is ignored.
void say(const std::string& text);

}  // namespace tessaron::tool
