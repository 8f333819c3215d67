#include "platform/picture_tags.h"

#include <dlfcn.h>

#include <string>

#include "platform/posix/exif_module.h"

namespace tessaron {
namespace {

// Loads the module from the library's folder, or, for a program that links the library's objects,
// from the folder "lib" beside the program's.
TessaronReadExif load() {
  Dl_info self;
  if (dladdr(reinterpret_cast<const void*>(&load), &self) == 0) return nullptr;
  const std::string program = self.dli_fname;
  const std::size_t slash = program.rfind('/');
  const std::string folder = slash == program.npos ? "./" : program.substr(0, slash + 1);
  for (const char* between : {"", "../lib/"}) {
    void* const module = dlopen((folder + between + TESSARON_EXIF_MODULE).c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module) return reinterpret_cast<TessaronReadExif>(dlsym(module, kReadExif));
  }
  return nullptr;
}

}  // namespace

std::vector<PictureTag> decodePictureTags(std::span<const std::byte> tiff) {
  static const TessaronReadExif readExif = load();
  std::vector<PictureTag> tags;
  if (!readExif) return tags;
  const auto found = [](void* context, std::uint16_t number, std::uint16_t type,
                        const std::byte* value, std::size_t size) {
    static_cast<std::vector<PictureTag>*>(context)->push_back(
        {number, type, {value, value + size}});
  };
  readExif(tiff.data(), tiff.size(), found, &tags);
  return tags;
}

}  // namespace tessaron
