#pragma once
// What all functions of the C interface share: errors, and memory that is handed out.

#include <exception>
#include <new>
#include <string>
#include <string_view>
#include <system_error>

#include "tessaron_c.h"

namespace tessaron::c {

/// Ends a call. Caught by `guarded`.
struct Failure {
  tsr_status status;
  std::string message;
};

/// Remembers why a call of this thread failed, and returns `status`.
tsr_status failed(tsr_status status, std::string_view message) noexcept;

/// Runs the body of a function. No exception leaves it.
template <typename Body>
tsr_status guarded(Body body) noexcept {
  try {
    return body();
  } catch (const Failure& failure) {
    return failed(failure.status, failure.message);
  } catch (const std::bad_alloc&) {
    return failed(TSR_OUT_OF_MEMORY, "there is not enough memory");
  } catch (const std::exception& error) {
    return failed(TSR_INTERNAL, error.what());
  }
}

/// Fails when one of the pointers is null.
template <typename... Pointers>
void require(const Pointers*... pointers) {
  if ((!pointers || ...)) throw Failure{TSR_INVALID_ARGUMENT, "a pointer is null"};
}

/// "PATH: reason".
[[noreturn]] void fail(tsr_status status, std::string_view path, std::string_view reason);
/// Fails when there is an error.
void requireNone(const std::error_code& error, tsr_status status, std::string_view path);

/// A copy for the caller, which `tsr_free` frees.
char* handOut(std::string_view text);

}  // namespace tessaron::c
