#include "platform/browser.h"

#include <spawn.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <csignal>

extern char** environ;

namespace tessaron {

std::error_code openInBrowser(const std::string& address) {
  // The shell ends at once, and what it has started is no child of this process.
  std::string shell = "sh", option = "-c", argument = address;
  std::string script =
      "command -v xdg-open >/dev/null || exit 127; xdg-open \"$0\" </dev/null >/dev/null 2>&1 &";
  const std::array<char*, 5> arguments = {shell.data(), option.data(), script.data(),
                                          argument.data(), nullptr};
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGPIPE, SIGXFSZ}) sigaddset(&signals, signal);
  posix_spawnattr_t attributes;
  if (const int error = posix_spawnattr_init(&attributes)) return {error, std::generic_category()};
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t process = 0;
  const int error =
      posix_spawn(&process, "/bin/sh", nullptr, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) return {error, std::generic_category()};
  int status = 0;
  while (::waitpid(process, &status, 0) < 0)
    if (errno != EINTR) return {errno, std::generic_category()};
  const bool isStarted = WIFEXITED(status) && WEXITSTATUS(status) == 0;
  return isStarted ? std::error_code() : std::make_error_code(std::errc::no_such_file_or_directory);
}

}  // namespace tessaron
