#include "platform/standard_streams.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

namespace tessaron {
namespace {

int descriptorOf(StandardStream stream) { return static_cast<int>(stream); }

using Handler = void (*)(int);
Handler pipeHandler = SIG_DFL;  // what the caller has set

}  // namespace

void prepareStandardStreams() {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (::fcntl(stream, F_GETFD) != -1) continue;
    // Using such a stream still fails.
    [[maybe_unused]] const int taken =
        ::open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
  // Locks are to be released and temporary files to be removed.
  pipeHandler = std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

bool isTerminal(StandardStream stream) { return ::isatty(descriptorOf(stream)) != 0; }

std::optional<std::size_t> terminalWidth(StandardStream stream) {
  if (!isTerminal(stream)) return std::nullopt;
  winsize size{};
  const bool isKnown = ::ioctl(descriptorOf(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : 80;
}

bool obeysEscapes(StandardStream stream) { return isTerminal(stream); }

std::error_code writeTo(StandardStream stream, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = ::write(descriptorOf(stream), text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return {errno, std::generic_category()};
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return {};
}

void endByBrokenPipe() {
  if (pipeHandler == SIG_IGN) return;
  std::signal(SIGPIPE, SIG_DFL);
  std::raise(SIGPIPE);
}

}  // namespace tessaron
