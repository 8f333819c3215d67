#include "platform/posix/loaded_module.h"

#include <dlfcn.h>

#include <string>

namespace tessaron {

void* loadFromModule(const std::string& name, const char* symbol) {
  const std::string file = TESSARON_MODULES "/" + name + ".so";
  Dl_info self;
  if (dladdr(reinterpret_cast<const void*>(&loadFromModule), &self) == 0) return nullptr;
  const std::string program = self.dli_fname;
  const std::size_t slash = program.rfind('/');
  const std::string folder = slash == program.npos ? "./" : program.substr(0, slash + 1);
  for (const char* between : {"", "../lib/"}) {
    std::string path = folder;
    path.append(between).append(file);
    void* const module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module) return dlsym(module, symbol);
  }
  return nullptr;
}

}  // namespace tessaron
