#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "platform/file.h"
#include "support/xml/encoding.h"

namespace tessaron {

/// A seekable file for what is written to it: in memory up to 4 MiB, in the folder for temporary
/// files beyond that, where it vanishes in any case.
class ScratchFile {
 public:
  /// False when the temporary file cannot be made or written.
  bool write(std::string_view text);
  /// The file; it is this object's no more.
  std::unique_ptr<File> take();
  std::uint64_t size() const { return size_; }

 private:
  std::string memory_;
  std::unique_ptr<File> file_;
  std::uint64_t size_ = 0;
};

/// Reads what is left of `file` block by block, the last one empty. False when a read fails or
/// `take` returns false.
bool forEachBlock(File& file, const std::function<bool(std::string_view, bool isLast)>& take);

/// Copies what is left of `file` into a scratch file. Null when it cannot be read or written.
std::unique_ptr<File> copyToScratch(File& file);

/// What takes the place of the first of some bytes that are no characters: no UTF-8 has it.
inline constexpr char kBadByte = '\xFF';

/// Decodes `file` from its start on into a scratch file by a decoder that was made of it. With
/// `declare` the copy names UTF-8 as its encoding; without it has the declaration of the document,
/// and a kBadByte for each row of bytes that are no characters. Null when it cannot be read or
/// written.
std::unique_ptr<File> decodeToScratch(File& file, XmlDecoder& decoder, bool declare);

/// Puts a copy in UTF-8 in the place of a seekable document in another encoding. The error tells
/// why it cannot be read or decoded; of the items it is told only for a document that is copied.
XmlError makeUtf8(std::unique_ptr<File>& file);

/// Makes the decoder for `file`, a seekable one. Null when it cannot be read.
std::unique_ptr<XmlDecoder> makeDecoder(File& file);

}  // namespace tessaron
