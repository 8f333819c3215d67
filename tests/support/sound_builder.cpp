#include "support/sound_builder.h"

#include "support/bytes.h"

using namespace std::string_literals;

namespace {

// Seven bits to a byte.
std::string synchSafe(std::uint32_t value) {
  return bytes({static_cast<int>(value >> 21 & 0x7F), static_cast<int>(value >> 14 & 0x7F),
                static_cast<int>(value >> 7 & 0x7F), static_cast<int>(value & 0x7F)});
}

std::uint32_t sizeOf(const std::string& text) { return static_cast<std::uint32_t>(text.size()); }

std::string le64(std::uint64_t value) {
  return le32(static_cast<std::uint32_t>(value)) + le32(static_cast<std::uint32_t>(value >> 32));
}

// UTF-16 with its terminator.
std::string wide(const std::string& text) {
  std::string result;
  for (const char c : text + '\0') result += std::string(1, c) + '\0';
  return result;
}

// An object of a Windows Media file: what it is, its length and its content.
std::string asfObject(std::uint32_t first, const std::string& rest, const std::string& content) {
  return le32(first) + rest + le64(24 + content.size()) + content;
}

}  // namespace

std::string id3Frame(int version, const std::string& name, const std::string& content,
                     std::uint32_t flags) {
  if (version == 2) return name + be32(sizeOf(content)).substr(1) + content;
  return name + (version == 3 ? be32(sizeOf(content)) : synchSafe(sizeOf(content))) + be16(flags) +
         content;
}

std::string id3Text(int version, const std::string& name, const std::string& text) {
  return id3Frame(version, name, '\0' + text);  // 0 is Latin-1
}

std::string id3Tag(int version, const std::string& body, int flags, std::uint32_t claimed) {
  return "ID3" + bytes({version, 0, flags}) + synchSafe(claimed ? claimed : sizeOf(body)) + body;
}

std::string mpegFrames(int count) {
  std::string frames;
  for (int i = 0; i < count; ++i)
    frames += bytes({0xFF, 0xFB, 0x90, 0x64}) + std::string(413, '\0');
  return frames;
}

std::string riffChunk(const std::string& name, const std::string& content) {
  return name + le32(sizeOf(content)) + content + std::string(content.size() % 2, '\0');
}

std::string wavFile(const std::string& chunks) {
  const std::string format = le16(1) + le16(1) + le32(8000) + le32(8000) + le16(1) + le16(8);
  return riffChunk("RIFF", "WAVE" + riffChunk("fmt ", format) + chunks +
                               riffChunk("data", std::string(4000, '\x80')));
}

std::string asfFile(const std::vector<std::string>& fields, const TagTexts& attributes,
                    const std::vector<std::pair<std::string, std::uint64_t>>& numbers) {
  const std::string id(16, '\0');
  const std::string properties = id + le64(0) + le64(0) + le64(0) + le64(90 * 10'000'000ULL) +
                                 le64(0) + le64(0) + le32(0) + le32(0) + le32(0) + le32(128000);
  const std::string stream = id + id + le64(0) + le32(18) + le32(0) + le16(1) + le32(0) +  // sound
                             le16(0x161) + le16(2) + le32(44100) + le32(16000) + le16(1) +
                             le16(16) + le16(0);
  std::string lengths, texts;
  for (const std::string& field : fields) {
    lengths += le16(sizeOf(wide(field)));
    texts += wide(field);
  }
  std::string extended = le16(static_cast<std::uint32_t>(attributes.size() + numbers.size()));
  for (const auto& [name, text] : attributes) {
    extended +=
        le16(sizeOf(wide(name))) + wide(name) + le16(0) + le16(sizeOf(wide(text))) + wide(text);
  }
  for (const auto& [name, value] : numbers) {
    const bool isLong = value >> 32 != 0;
    extended += le16(sizeOf(wide(name))) + wide(name) +
                (isLong ? le16(4) + le16(8) + le64(value)
                        : le16(3) + le16(4) + le32(static_cast<std::uint32_t>(value)));
  }
  const std::string objects =
      asfObject(0x8CABDCA1, "\x47\xA9\xCF\x11\x8E\xE4\x00\xC0\x0C\x20\x53\x65"s, properties) +
      asfObject(0xB7DC0791, "\xB7\xA9\xCF\x11\x8E\xE6\x00\xC0\x0C\x20\x53\x65"s, stream) +
      asfObject(0x75B22633, "\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"s, lengths + texts) +
      asfObject(0xD2D0A440, "\x07\xE3\xD2\x11\x97\xF0\x00\xA0\xC9\x5E\xA8\x50"s, extended);
  return asfObject(0x75B22630, "\x8E\x66\xCF\x11\xA6\xD9\x00\xAA\x00\x62\xCE\x6C"s,
                   le32(4) + bytes({1, 2}) + objects);
}

std::string flacFile(const TagTexts& comments, std::uint32_t pictureSize) {
  const auto block = [](int kind, const std::string& content) {
    return bytes({kind}) + be32(sizeOf(content)).substr(1) + content;
  };
  // Block and frame sizes, then 20 bits of rate, 3 of channels, 5 of bits, 36 of samples.
  const std::string info = be16(4096) + be16(4096) + std::string(6, '\0') +
                           bytes({0x0A, 0xC4, 0x42, 0xF0, 0x00, 0x02, 0xB1, 0x10}) +
                           std::string(16, '\0');
  std::string texts = le32(0) + le32(static_cast<std::uint32_t>(comments.size()));
  for (const auto& [name, text] : comments) {
    texts += le32(sizeOf(name + '=' + text)) + name + '=' + text;
  }
  const std::string picture = be32(3) + be32(9) + "image/png" + be32(0) + be32(1) + be32(1) +
                              be32(8) + be32(0) + be32(pictureSize) + std::string(pictureSize, 'p');
  return "fLaC" + block(0, info) + block(6, picture) + block(4 | 0x80, texts) + "\xFF\xF8";
}

std::string mp4Box(const std::string& name, const std::string& content) {
  return be32(sizeOf(content) + 8) + name + content;
}
