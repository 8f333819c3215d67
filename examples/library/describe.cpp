// Prints what is known about a media file: describe PATH
#include <tessaron/mediainfo/file_info.h>
#include <tessaron/support/text.h>

#include <filesystem>
#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  CFileInfo file;
  // A path without a folder is refused.
  if (!file.fromFile(std::filesystem::absolute(argv[1]).u16string())) return 1;
  std::cout << wchar2utf8(file.name) << ", " << file.sizeLow << " bytes\n";
  for (const PropertyMap* properties : {&file.info, &file.metaInfo})
    for (const auto& [number, text] : *properties)
      std::cout << number << ": " << wchar2utf8(text) << '\n';
}
