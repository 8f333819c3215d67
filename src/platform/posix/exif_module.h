#pragma once
// The interface of the module that contains Exiv2. Loading Exiv2 takes longer than most runs of the
// program, so only this module links it, and it is loaded when a picture is first described.

#include <cstddef>
#include <cstdint>

extern "C" {

/// Calls `found` with each entry of the TIFF file at `tiff`: its number, its type and its value
/// with little-endian numbers. Throws nothing but what `found` throws.
using TessaronExifFound = void (*)(void* context, std::uint16_t number, std::uint16_t type,
                                   const std::byte* value, std::size_t size);
using TessaronReadExif = void (*)(const std::byte* tiff, std::size_t size, TessaronExifFound found,
                                  void* context);
}

inline constexpr char kReadExif[] = "tessaronReadExif";
