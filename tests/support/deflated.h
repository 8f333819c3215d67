#pragma once

#include <zlib.h>

#include <string>

/// A zlib stream of `content`.
inline std::string deflated(const std::string& content, int level = Z_DEFAULT_COMPRESSION) {
  uLongf size = compressBound(static_cast<uLong>(content.size()));
  std::string packed(size, '\0');
  compress2(reinterpret_cast<Bytef*>(packed.data()), &size,
            reinterpret_cast<const Bytef*>(content.data()), static_cast<uLong>(content.size()),
            level);
  packed.resize(size);
  return packed;
}
