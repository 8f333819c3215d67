#pragma once

#include <taglib/tiostream.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/file.h"

namespace tessaron {

/// How much a reader of tags gets from a file before the file seems to end.
struct TagLimits {
  unsigned reads;
  std::size_t bytes;      ///< in all
  std::size_t blockData;  ///< of one block; what is longer ends here, or goes on as zeros
  bool zeros;             ///< as `blockData` says
  unsigned attributes =
      1024;  ///< of Windows Media; TagLib goes on counting where the file has ended
};

/// A file as TagLib reads it. TagLib trusts the sizes that files claim; this stream bounds memory
/// and time nevertheless. Of an ID3v2 tag it passes only text frames, and no compressed ones: a few
/// kilobytes of those inflate to gigabytes. Belongs to one thread.
class TagStream : public TagLib::IOStream {
 public:
  /// `file` must outlive the stream.
  explicit TagStream(File& file);
  void limit(const TagLimits& limits) { limits_ = limits; }

  TagLib::FileName name() const override { return ""; }
  TagLib::ByteVector readBlock(unsigned long length) override;
  void seek(long offset, Position from) override;
  long tell() const override { return static_cast<long>(at_); }
  long length() override { return static_cast<long>(size_); }
  bool readOnly() const override { return true; }
  bool isOpen() const override { return true; }
  // Nothing is written.
  void writeBlock(const TagLib::ByteVector&) override {}
  void insert(const TagLib::ByteVector&, unsigned long, unsigned long) override {}
  void removeBlock(unsigned long, unsigned long) override {}
  void truncate(long) override {}

 private:
  static constexpr std::size_t kId3Header = 10;

  TagLib::ByteVector readPlain(std::uint64_t offset, std::size_t held);
  TagLib::ByteVector readId3(std::uint64_t offset, std::size_t held);
  void expectId3(TagLib::ByteVector& header);
  void limitAttributes(TagLib::ByteVector& count);

  File& file_;
  std::uint64_t size_;
  std::uint64_t at_ = 0;
  // The last read ID3v2 header, the offset of its body and the length it claims; 0 after any other
  // read.
  std::array<char, kId3Header> id3Header_{};
  std::uint64_t id3Begin_ = 0;
  unsigned long id3Length_ = 0;
  std::uint64_t attributeCountAt_ = 0;  // offset of the next count of attributes, or 0
  TagLimits limits_{};
};

}  // namespace tessaron
