#include "covers/cover_maker.h"

#include <chrono>
#include <optional>
#include <span>

#include "catalogue/covers.h"
#include "scan/reading.h"
#include "support/byte_reader.h"
#include "support/pictures/loading.h"

namespace tessaron::tool {
namespace {

void appendNumber(std::string& out, std::uint32_t number) {
  for (int shift = 0; shift < 32; shift += 8) out += static_cast<char>(number >> shift);
}

std::string failed(std::string_view reason) {
  std::string answer;
  appendNumber(answer, 0);
  return answer.append(reason);
}

/// The picture with sides of at most `size`, as a file; empty when that fails.
std::string scaled(const fipImage& picture, std::uint32_t size) {
  fipImage copy(picture);
  if ((copy.getWidth() > size || copy.getHeight() > size) && copy.makeThumbnail(size) == FALSE)
    return {};
  const bool isTransparent = copy.isTransparent() != FALSE;
  if (!(isTransparent ? copy.convertTo32Bits() : copy.convertTo24Bits())) return {};
  constexpr int kQuality = 85;
  fipMemoryIO memory;
  if (!copy.saveToMemory(isTransparent ? FIF_PNG : FIF_JPEG, memory, isTransparent ? 0 : kQuality))
    return {};
  BYTE* bytes = nullptr;
  DWORD length = 0;
  memory.acquire(&bytes, &length);
  return {reinterpret_cast<const char*>(bytes), length};
}

/// Whatever a worker has answered is not to be trusted.
std::optional<CoverPicture> decodeAnswer(std::string_view answer) {
  ByteReader reader(std::as_bytes(std::span(answer)));
  const auto text = [&](std::size_t size) {
    const auto bytes = reader.bytes(size);
    return std::string(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  };
  CoverPicture picture;
  picture.width = reader.u32le();
  if (picture.width == 0) {
    picture.failure = text(reader.remaining());
    return reader.ok() && !picture.failure.empty() ? std::optional(picture) : std::nullopt;
  }
  picture.height = reader.u32le();
  picture.small = text(reader.u32le());
  picture.medium = text(reader.remaining());
  const auto isThumbnail = [](const std::string& bytes) {
    return coverFormat(std::as_bytes(std::span(bytes))).has_value();
  };
  if (!reader.ok() || picture.height == 0 || !isThumbnail(picture.small) ||
      !isThumbnail(picture.medium))
    return std::nullopt;
  return picture;
}

}  // namespace

std::string answerCoverRequest(File& file) {
  PictureMeasures measures;
  const std::uint64_t size = file.size().value_or(0);
  if (!measurePicture(file, size, measures)) return failed("it is no picture");
  fipImage picture;
  if (!loadPicture(file, size, picture)) return failed("its picture is damaged");
  const std::string small = scaled(picture, kSmallCover), medium = scaled(picture, kMediumCover);
  if (small.empty() || medium.empty()) return failed("its picture cannot be made smaller");
  std::string answer;
  appendNumber(answer, measures.width);
  appendNumber(answer, measures.height);
  appendNumber(answer, static_cast<std::uint32_t>(small.size()));
  return answer + small + medium;
}

CoverMaker::CoverMaker() : worker_({kReaderArgument}, std::chrono::seconds(30)) {}

CoverPicture CoverMaker::make(std::string_view bytes) {
  CoverPicture picture;
  if (!coverFormat(std::as_bytes(std::span(bytes)))) {
    picture.failure = "it is no JPEG, PNG, GIF or WebP picture";
    return picture;
  }
  const std::unique_ptr<File> file = temporaryFile();
  std::string answer;
  if (!file || !file->write(std::as_bytes(std::span(bytes))) || !file->seek(0)) {
    picture.failure = "there is no room for it in the folder for temporary files";
    picture.isOfSystem = true;
    return picture;
  }
  picture.failure = worker_.ask(kCoverRequest, *file, answer);
  picture.isOfSystem = picture.failure == kNoWorker;
  if (!picture.failure.empty()) return picture;
  if (std::optional<CoverPicture> found = decodeAnswer(answer)) return *std::move(found);
  worker_.dismiss();
  picture.failure = "its reader gave no proper answer";
  return picture;
}

}  // namespace tessaron::tool
