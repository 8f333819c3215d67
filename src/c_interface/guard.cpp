#include "c_interface/guard.h"

#include <cstdlib>
#include <cstring>

namespace tessaron::c {
namespace {

thread_local std::string lastError;

}  // namespace

tsr_status failed(tsr_status status, std::string_view message) noexcept {
  try {
    lastError = message;
  } catch (const std::bad_alloc&) {
    lastError.clear();
  }
  return status;
}

void fail(tsr_status status, std::string_view path, std::string_view reason) {
  throw Failure{status, std::string(path).append(": ").append(reason)};
}

void requireNone(const std::error_code& error, tsr_status status, std::string_view path) {
  if (error) fail(status, path, error.message());
}

char* handOut(std::string_view text) {
  auto* copy = static_cast<char*>(std::malloc(text.size() + 1));
  if (!copy) throw std::bad_alloc();
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

}  // namespace tessaron::c

const char* tsr_version(void) { return TESSARON_VERSION; }
const char* tsr_last_error(void) { return tessaron::c::lastError.c_str(); }
void tsr_free(void* memory) { std::free(memory); }
