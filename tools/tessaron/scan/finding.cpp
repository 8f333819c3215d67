#include "scan/finding.h"

#include <algorithm>
#include <span>
#include <utility>

#include "mediainfo/category.h"
#include "support/byte_reader.h"

namespace tessaron::tool {
namespace {

// More than any description has.
constexpr std::size_t kMaxStreams = 1024, kMaxProperties = 16384;
constexpr std::size_t kMaxThumbnail = std::size_t{1} << 20;  // bytes
constexpr std::uint32_t kMaxThumbnailSide = 256;             // pixels

class Writer {
 public:
  template <typename Number>
  void number(Number value) {
    for (std::size_t i = 0; i < sizeof value; ++i)
      text_ += static_cast<char>(static_cast<std::uint64_t>(value) >> 8 * i);
  }
  void bytes(std::string_view bytes) {
    number(static_cast<std::uint32_t>(bytes.size()));
    text_ += bytes;
  }
  void wide(std::u16string_view text) {
    number(static_cast<std::uint32_t>(text.size()));
    for (const char16_t unit : text) number(unit);
  }
  void map(const PropertyMap& map) {
    number(static_cast<std::uint32_t>(map.size()));
    for (const auto& [label, value] : map) {
      number(label);
      wide(value);
    }
  }
  void list(const StreamList& list) {
    number(static_cast<std::uint32_t>(list.size()));
    for (const PropertyMap& each : list) map(each);
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

/// Reads what `Writer` wrote. After a damaged value nothing more is read and `isWhole` is false.
class Reader {
 public:
  explicit Reader(std::string_view text) : reader_(std::as_bytes(std::span(text))) {}

  bool isWhole() const { return reader_.ok() && isValid_ && reader_.remaining() == 0; }
  ByteReader& numbers() { return reader_; }

  std::string bytes() {
    const auto view = reader_.bytes(reader_.u32le());
    return {reinterpret_cast<const char*>(view.data()), view.size()};
  }
  std::u16string wide() {
    const std::uint64_t size = reader_.u32le();
    ByteReader units(reader_.bytes(static_cast<std::size_t>(size * sizeof(char16_t))));
    std::u16string text;
    text.reserve(units.remaining() / sizeof(char16_t));
    while (units.remaining() > 0) text += static_cast<char16_t>(units.u16le());
    return text;
  }
  PropertyMap map() {
    PropertyMap map;
    for (std::uint32_t left = reader_.u32le(); left > 0 && reader_.ok() && isValid_; --left) {
      const std::uint32_t label = reader_.u32le();
      map[label] = wide();
      isValid_ = ++properties_ <= kMaxProperties;
    }
    return map;
  }
  StreamList list() {
    StreamList list;
    const std::uint32_t size = reader_.u32le();
    isValid_ = isValid_ && size <= kMaxStreams;
    while (isValid_ && reader_.ok() && list.size() < size) list.push_back(map());
    return list;
  }

 private:
  ByteReader reader_;
  bool isValid_ = true;
  std::size_t properties_ = 0;
};

bool isCategory(std::int32_t category) {
  return category == kOtherCategory ||
         std::ranges::any_of(mediaCategoryNames(), [&](const MediaCategoryName& known) {
           return known.category == category;
         });
}

/// Whether a message may contain it: a short line of printable ASCII characters.
bool isReason(std::string_view text) {
  constexpr std::size_t kMaxReason = 200;
  return text.size() <= kMaxReason &&
         std::ranges::all_of(text, [](char byte) { return byte >= ' ' && byte <= '~'; });
}

/// Whether it may be written as a thumbnail: it begins as a small PNG file does.
bool isThumbnail(std::string_view png) {
  constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n\0\0\0\rIHDR", 16);
  if (png.size() > kMaxThumbnail || !png.starts_with(kSignature)) return false;
  ByteReader reader(std::as_bytes(std::span(png)).subspan(kSignature.size()));
  const std::uint32_t width = reader.u32be();
  const std::uint32_t height = reader.u32be();
  return reader.ok() && width <= kMaxThumbnailSide && height <= kMaxThumbnailSide;
}

}  // namespace

std::string encode(const Question& question) {
  Writer writer;
  writer.number(question.detectMask);
  const DescribedView& view = question.view;
  for (const bool flag : {view.wantsThumbnail, view.isByName, view.wantsLocation})
    writer.number(static_cast<std::uint8_t>(flag));
  writer.wide(question.name);
  return writer.take();
}

std::optional<Question> decodeQuestion(std::string_view text) {
  Reader reader(text);
  Question question;
  question.detectMask = static_cast<std::int32_t>(reader.numbers().u32le());
  for (bool* flag :
       {&question.view.wantsThumbnail, &question.view.isByName, &question.view.wantsLocation})
    *flag = reader.numbers().u8() != 0;
  question.name = reader.wide();
  return reader.isWhole() ? std::optional(question) : std::nullopt;
}

std::string encode(const Finding& finding) {
  Writer writer;
  writer.bytes(finding.failure);
  writer.number(static_cast<std::uint8_t>(finding.isUndecodable));
  writer.number(finding.category);
  writer.map(finding.info);
  writer.map(finding.metaInfo);
  writer.list(finding.audioStreams);
  writer.list(finding.videoStreams);
  writer.bytes(finding.thumbnail);
  return writer.take();
}

std::optional<Finding> decodeFinding(std::string_view text) {
  Reader reader(text);
  Finding finding;
  finding.failure = reader.bytes();
  finding.isUndecodable = reader.numbers().u8() != 0;
  finding.category = static_cast<std::int32_t>(reader.numbers().u32le());
  finding.info = reader.map();
  finding.metaInfo = reader.map();
  finding.audioStreams = reader.list();
  finding.videoStreams = reader.list();
  finding.thumbnail = reader.bytes();
  const bool isValid =
      reader.isWhole() &&
      (!finding.failure.empty() ? isReason(finding.failure) : isCategory(finding.category)) &&
      (finding.thumbnail.empty() || isThumbnail(finding.thumbnail));
  return isValid ? std::optional(std::move(finding)) : std::nullopt;
}

}  // namespace tessaron::tool
