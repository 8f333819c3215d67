#pragma once
// What a command-line program writes to and what a person reads.

#include <cstddef>
#include <optional>
#include <string_view>
#include <system_error>

#include "tessaron_export.h"

namespace tessaron {

enum class StandardStream { In, Out, Error };

// Any thread may call these functions, except for `prepareStandardStreams`; writing is for one
// thread at a time for each stream.

/// To be called first in `main`. On Linux opens /dev/null for streams that the caller has closed,
/// so that no other file gets their numbers, and turns a closed pipe and a limit on file sizes into
/// errors of writing. On Windows does nothing.
TESSARON_API void prepareStandardStreams();

/// Whether a person reads or writes there: a terminal, on Windows a console.
TESSARON_API bool isTerminal(StandardStream stream);

/// The columns of a terminal, at this moment; 80 when it does not tell. Nothing when the stream is
/// no terminal.
TESSARON_API std::optional<std::size_t> terminalWidth(StandardStream stream);

/// Whether the stream is a terminal that obeys escape sequences. On Windows, where that has to be
/// switched on, this does so; the console stays that way until the program ends.
TESSARON_API bool obeysEscapes(StandardStream stream);

/// Writes UTF-8 text; other bytes, too, except to a console of Windows. There, a character that is
/// cut at the end is kept and written with the next text. Allocates no memory on Linux.
TESSARON_API std::error_code writeTo(StandardStream stream, std::string_view text);

/// Ends the process by SIGPIPE, since nobody reads its output. Returns when the caller of the
/// program ignores that signal, and on Windows, which has none.
TESSARON_API void endByBrokenPipe();

}  // namespace tessaron
