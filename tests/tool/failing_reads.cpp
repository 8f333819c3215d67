// Preloaded into the tool by scan_test.py: all reads of a file whose name ends in "bad.bmp" fail,
// but the first.
#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <string_view>

namespace {

bool fails(int descriptor) {
  static int reads = 0;
  char name[4096];
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  const ssize_t size = ::readlink(link.c_str(), name, sizeof name);
  if (size < 0 || !std::string_view(name, static_cast<std::size_t>(size)).ends_with("bad.bmp"))
    return false;
  errno = EIO;
  return reads++ > 0;
}

template <typename Function>
Function* original(const char* name) {
  return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" ssize_t read(int descriptor, void* buffer, size_t size) {
  return fails(descriptor) ? -1 : original<decltype(::read)>("read")(descriptor, buffer, size);
}

extern "C" ssize_t pread(int descriptor, void* buffer, size_t size, off_t offset) {
  if (fails(descriptor)) return -1;
  return original<decltype(::pread)>("pread")(descriptor, buffer, size, offset);
}

extern "C" ssize_t pread64(int descriptor, void* buffer, size_t size, off64_t offset) {
  return pread(descriptor, buffer, size, offset);
}
