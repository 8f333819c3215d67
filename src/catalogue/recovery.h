#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>
#include <vector>

#include "catalogue/edit.h"
#include "platform/file.h"
#include "support/xml/error.h"
#include "tessaron_export.h"

namespace tessaron {

/// What was saved of a damaged collection.
struct Recovery {
  struct Fault {
    XmlError error;               ///< offset, line and column count in the text as UTF-8
    std::size_t itemsBehind = 0;  ///< how many of the saved items begin after its place
  };
  /// Further errors are only counted.
  static constexpr std::size_t kMaxFaults = 50000;

  std::size_t items = 0;          ///< how many were saved
  std::vector<Fault> faults;      ///< the errors, in the order of the text; none when it is whole
  std::size_t furtherFaults = 0;  ///< beyond kMaxFaults
  XmlError readError;             ///< Unreadable: the text, or a temporary file, failed
  std::error_code writeError;     ///< why `recoverCollection` could not write
};

/// Saves all whole items of `damaged`, in their order, and writes a collection in UTF-8 that has
/// them: continues at the next whole item after each error. A text without an error is copied as it
/// is. An item with bytes that are no characters of the encoding is not whole, nor is one of more
/// than ItemStream::kMaxItem. A text in an unknown encoding is read as UTF-8, unless too much of it
/// is none. Without an item nothing is written. Memory does not grow with the text; one that tells
/// no size, or is not in UTF-8, is copied into the folder for temporary files. Ends early when
/// `sink` returns false.
TESSARON_API Recovery recover(File& damaged, const TextSink& sink);

/// As `recover`, into the file at `path`, by the rules of `editCollection`: no other edit of it can
/// come between, and the new file takes its place in one step or not at all. Without an item, or
/// after an error, nothing changes.
TESSARON_API Recovery recoverCollection(File& damaged, std::u16string_view path);

}  // namespace tessaron
