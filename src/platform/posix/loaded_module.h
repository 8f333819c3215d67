#pragma once

#include <string>

namespace tessaron {

/// The function `symbol` of the library's module `name` ("exif" or "pdf"), which is loaded from the
/// library's folder, or, for a program that links the library's objects, from the folder "lib"
/// beside the program's. Null when there is none. Any thread may call it.
void* loadFromModule(const std::string& name, const char* symbol);

}  // namespace tessaron
