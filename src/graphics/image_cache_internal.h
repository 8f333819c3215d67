#pragma once

#include <vector>

#include "graphics/image_cache.h"

namespace tessaron {

/// What became of loading a cache.
enum class CacheLoad {
  Whole,      ///< up to the file's end, or to a section that the file does not hold whole
  ReadError,  ///< up to a read that failed
  Failed,     ///< the working file could not be written
};

/// Copies the sections of `cache` back to back into the empty file `work`; `sections` gets their
/// headers, with offsets into `work`. See CImageCacheMan::init for damaged files.
CacheLoad loadCache(File& cache, File& work, std::vector<CACHESECTIONHEADER>& sections);

}  // namespace tessaron
