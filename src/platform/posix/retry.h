#pragma once

#include <cerrno>

namespace tessaron {

/// Repeats a system call that a signal has interrupted. Returns the call's result.
template <typename Call>
auto retry(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result == -1 && errno == EINTR);
  return result;
}

}  // namespace tessaron
