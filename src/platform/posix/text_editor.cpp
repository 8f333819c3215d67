#include "platform/text_editor.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>

#include "platform/posix/environment.h"
#include "platform/posix/native_path.h"
#include "platform/system.h"

extern char** environ;

namespace tessaron {
namespace {

std::error_code lastError() { return {errno, std::generic_category()}; }

bool writeAll(int file, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = ::write(file, content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// Ignores the terminal's signals for as long as it lives: they are for the program in front.
class IgnoredSignals {
 public:
  IgnoredSignals() {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &ignore, &old_[i]);
  }
  ~IgnoredSignals() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], &old_[i], nullptr);
  }
  IgnoredSignals(const IgnoredSignals&) = delete;
  IgnoredSignals& operator=(const IgnoredSignals&) = delete;

 private:
  static constexpr std::array<int, 2> kSignals = {SIGINT, SIGQUIT};
  std::array<struct sigaction, 2> old_{};
};

/// Starts a shell command with the default actions for the signals that this program ignores.
int startShell(const std::string& command, const std::string& argument, pid_t& process) {
  std::array<std::string, 5> words = {"sh", "-c", command, command, argument};
  std::array<char*, 6> arguments{};
  for (std::size_t i = 0; i < words.size(); ++i) arguments[i] = words[i].data();
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGQUIT, SIGPIPE, SIGXFSZ}) sigaddset(&signals, signal);
  posix_spawnattr_t attributes;
  if (const int error = posix_spawnattr_init(&attributes)) return error;
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  const int error =
      posix_spawn(&process, "/bin/sh", nullptr, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  return error;
}

}  // namespace

ScratchText::ScratchText(std::u16string_view name, std::string_view content,
                         std::error_code& error) {
  constexpr std::string_view kSuffix = ".txt";
  constexpr std::ptrdiff_t kEnding = 10;  // what is random, and the suffix
  native_ = nativePath(temporaryFolder()) + nativePath(name) + "-XXXXXX";
  native_ += kSuffix;
  path_ = fromNativePath(native_);
  const int file = ::mkostemps(native_.data(), static_cast<int>(kSuffix.size()), O_CLOEXEC);
  if (file < 0) {
    error = lastError();
    path_.clear();
    return;
  }
  // The last units are those that mkostemps has chosen.
  std::copy(native_.end() - kEnding, native_.end(), path_.end() - kEnding);
  if (!writeAll(file, content)) error = lastError();
  if (::close(file) != 0 && !error) error = lastError();
}

ScratchText::~ScratchText() {
  if (!isKept_ && !path_.empty()) ::unlink(native_.c_str());
}

std::u16string textEditor() {
  for (const char* variable : {"VISUAL", "EDITOR"})
    if (const std::string editor = environment(variable); !editor.empty())
      return fromNativePath(editor);
  return u"vi";
}

std::u16string textPager() { return u"${PAGER:-more}"; }

std::u16string manualViewer() { return u"command -v man >/dev/null && man -l"; }

EditorResult openText(std::u16string_view opener, std::u16string_view path) {
  const IgnoredSignals ignored;
  pid_t process = 0;
  // The shell takes the command's arguments apart.
  const std::string command = nativePath(opener) + " \"$@\"";
  if (const int error = startShell(command, nativePath(path), process))
    return {{error, std::generic_category()}, 0};
  int status = 0;
  pid_t ended = 0;
  do {
    ended = ::waitpid(process, &status, 0);
  } while (ended < 0 && errno == EINTR);
  if (ended < 0) return {lastError(), 0};
  constexpr int kSignaled = 128;  // as shells count it
  return {{}, WIFEXITED(status) ? WEXITSTATUS(status) : kSignaled + WTERMSIG(status)};
}

}  // namespace tessaron
