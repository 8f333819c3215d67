#include <algorithm>

#include "mediainfo/content_kind_internal.h"
#include "support/ascii.h"
#include "support/byte_reader.h"
#include "support/text.h"

namespace tessaron {
namespace {

using namespace std::string_view_literals;
using Reader = ContentKind::Reader;

struct Signature {
  std::string_view name;
  MediaCategory category;
  Reader reader;
  std::size_t offset;
  std::string_view bytes;

  bool matches(std::string_view head) const {
    if (head.size() < offset || head.size() - offset < bytes.size()) return false;
    return std::ranges::equal(
        bytes, head.substr(offset, bytes.size()),
        [](char wanted, char found) { return wanted == '?' || wanted == found; });
  }
  std::size_t weight() const {
    return bytes.size() - static_cast<std::size_t>(std::ranges::count(bytes, '?'));
  }
};

// clang-format off
constexpr Signature kSignatures[] = {
#include "mediainfo/content_kinds.inc"
};
// clang-format on

// Whether packets of a transport stream begin every `step` bytes from `at` on: every 188, or every
// 192 with 4 bytes of time before each, as on Blu-ray discs.
bool hasPackets(std::string_view head, std::size_t at, std::size_t step) {
  constexpr char kMark = 0x47;
  constexpr std::size_t kPackets = 5;
  for (std::size_t i = 0; i < kPackets; ++i, at += step)
    if (at >= head.size() || head[at] != kMark) return false;
  return true;
}

// Returns the bytes of a frame with this header, as the standard has it; 0 for what is no header.
// (decodeMpegAudioHeader has oddities that must stay.)
std::size_t mpegFrameBytes(std::uint32_t header) {
  // Units of 8 kbit/s: MPEG-1 Layer I, II, III, MPEG-2 Layer I, II and III.
  constexpr std::uint8_t kRates[5][16] = {
      {0, 4, 8, 12, 16, 20, 24, 28, 32, 36, 40, 44, 48, 52, 56, 0},
      {0, 4, 6, 7, 8, 10, 12, 14, 16, 20, 24, 28, 32, 40, 48, 0},
      {0, 4, 5, 6, 7, 8, 10, 12, 14, 16, 20, 24, 28, 32, 40, 0},
      {0, 4, 6, 7, 8, 10, 12, 14, 16, 18, 20, 22, 24, 28, 32, 0},
      {0, 1, 2, 3, 4, 5, 6, 7, 8, 10, 12, 14, 16, 18, 20, 0}};
  constexpr std::uint32_t kSamples[4] = {44100, 48000, 32000, 0};
  const std::uint32_t version = header >> 19 & 3;  // 3 is MPEG-1, 2 MPEG-2, 0 MPEG-2.5
  const std::uint32_t layer = 4 - (header >> 17 & 3);
  const std::uint32_t samples = kSamples[header >> 10 & 3] >> (3 - std::max(version, 1u));
  if (header >> 21 != 0x7FF || version == 1 || layer == 4 || samples == 0) return 0;
  const std::size_t row = version == 3 ? layer - 1 : layer == 1 ? 3 : 4;
  const std::uint32_t bits = kRates[row][header >> 12 & 15] * 8000u;
  const std::uint32_t padding = header >> 9 & 1;
  if (layer == 1) return std::size_t{12 * bits / samples + padding} * 4;
  return (version != 3 && layer == 3 ? 72 : 144) * bits / samples + padding;
}

// Whether frames of MPEG audio follow each other; the first may follow zeros.
bool isMpegAudio(std::string_view head) {
  std::size_t at = std::min(head.find_first_not_of('\0'), head.size());
  for (int frames = 0; frames < 3; ++frames) {
    ByteReader reader(std::as_bytes(std::span(head)).subspan(at));
    const std::size_t length = mpegFrameBytes(reader.u32be());
    if (length == 0) return false;
    if (length >= reader.remaining() + 4) return frames > 0;
    at += length;
  }
  return true;
}

// Whether three frames of AAC follow each other (ISO/IEC 13818-7, 6.2).
bool isAdts(std::string_view head) {
  std::size_t at = 0;
  for (int frames = 0; frames < 3; ++frames) {
    if (at + 7 > head.size()) return false;
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(head[at + i]); };
    const std::size_t length = (byte(3) & 3u) << 11 | unsigned{byte(4)} << 3 | byte(5) >> 5;
    if (byte(0) != 0xFF || (byte(1) & 0xF6) != 0xF0 || length < 7) return false;
    at += length;
  }
  return true;
}

// The kind of a document whose first element tells it.
std::optional<ContentKind> kindOfMarkup(std::string_view head) {
  constexpr std::size_t kMaxProlog = 4096;
  head = head.substr(0, kMaxProlog);
  if (head.starts_with("\xEF\xBB\xBF")) head.remove_prefix(3);
  head.remove_prefix(std::min(head.find_first_not_of(" \t\r\n"), head.size()));
  if (!head.starts_with('<')) return std::nullopt;
  const std::string text = lowerLetters(head);
  const auto has = [&](const char* tag) { return text.find(tag) != text.npos; };
  if (has("<svg") || has("<!doctype svg")) return ContentKind{"SVG", kImageCategory, Reader::Svg};
  if (has("<fictionbook")) return ContentKind{"FictionBook", kDocumentCategory, Reader::Book};
  if (text.starts_with("<!doctype html") || has("<html"))
    return ContentKind{"HTML", kDocumentCategory, Reader::None};
  return std::nullopt;
}

}  // namespace

std::optional<ContentKind> findContentKind(std::span<const std::byte> bytes) {
  const std::string_view head(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const Signature* best = nullptr;
  for (const Signature& row : kSignatures)
    if (row.matches(head) && (!best || row.weight() > best->weight())) best = &row;
  // The type of the document stands in the first element of a Matroska file.
  constexpr std::size_t kEbmlHead = 64;
  if (best && best->name == "Matroska" && head.substr(0, kEbmlHead).find("webm") != head.npos)
    return ContentKind{"WebM", best->category, best->reader};
  if (best) return ContentKind{best->name, best->category, best->reader};
  if (isMpegAudio(head)) return ContentKind{"MPEG Audio", kAudioCategory, Reader::Media};
  if (isAdts(head)) return ContentKind{"AAC", kAudioCategory, Reader::Media};
  if (hasPackets(head, 0, 188))
    return ContentKind{"MPEG Transport Stream", kVideoCategory, Reader::Media};
  if (hasPackets(head, 4, 192)) return ContentKind{"Blu-ray Stream", kVideoCategory, Reader::Media};
  return kindOfMarkup(head);
}

std::optional<ContentKind> kindOfText(std::u16string_view extension) {
  struct Row {
    std::string_view extension;
    ContentKind kind;
  };
  static constexpr Row kRows[] = {
      {"eml", {"Mail", kDocumentCategory, Reader::None}},
      {"dxf", {"DXF", kImageCategory, Reader::None}},
      {"dir", {"Director", kVideoCategory, Reader::None}},
      {"123", {"Lotus 1-2-3", kDocumentCategory, Reader::None}},
      {"fon", {"Windows Font", kFontCategory, Reader::None}},
      {"pfm", {"PostScript Font Metrics", kFontCategory, Reader::None}},
      {"h264", {"H.264 Stream", kVideoCategory, Reader::WeakMedia}},
      {"hevc", {"H.265 Stream", kVideoCategory, Reader::WeakMedia}},
      {"tga", {"Targa", kImageCategory, Reader::WeakPicture}},
  };
  const std::string wanted = lowerLetters(toUtf8(extension));
  const auto found = std::ranges::find(kRows, wanted, &Row::extension);
  return found == std::end(kRows) ? std::nullopt : std::optional(found->kind);
}

}  // namespace tessaron
