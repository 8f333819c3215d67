#include "mediainfo/content_info.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <system_error>
#include <vector>

#include "mediainfo/category.h"
#include "mediainfo/content_book_internal.h"
#include "mediainfo/content_kind_internal.h"
#include "mediainfo/content_media_internal.h"
#include "mediainfo/content_picture_internal.h"
#include "mediainfo/labels.h"
#include "mediainfo/mpeg_parser.h"
#include "mediainfo/picture_metadata_internal.h"
#include "mediainfo/riff_parser.h"
#include "mediainfo/wm_metadata.h"
#include "platform/directory.h"
#include "platform/pdf_document.h"
#include "platform/picture_tags.h"
#include "platform/system.h"
#include "platform/text.h"
#include "support/pictures/loading.h"
#include "support/read_watch.h"
#include "support/string_table.h"
#include "support/text.h"
#include "support/units.h"

namespace {

namespace label = tessaron::label;
using tessaron::ContentKind;
using tessaron::decimalText;
using tessaron::fromUtf8;
using Reader = ContentKind::Reader;

void add(PropertyMap& map, std::uint32_t key, std::u16string value) {
  if (!value.empty()) map.emplace(key, std::move(value));
}

std::u16string measures(std::uint32_t width, std::uint32_t height) {
  return decimalText(width, 0) + u" x " + decimalText(height, 0);
}

/// Describes one file: what it is, then by the reader of its kind.
class Description {
 public:
  Description(tessaron::File& file, ContentInfo& info) : file_(file), info_(info) {}

  void describe() {
    std::vector<std::byte> head(tessaron::kContentHead);
    head.resize(tessaron::readFully(file_, 0, head).value_or(0));
    auto kind = tessaron::findContentKind(head);
    if (!kind) kind = tessaron::kindOfText(info_.extension);
    if (!kind) return;
    kind_ = *kind;
    name_ = fromUtf8(kind_.name);
    if ((info_.detectMask & kind_.category) == 0 && !mayChange()) return;
    const bool isConfirmed = read();
    if (kind_.isWeak() && !isConfirmed) return clear();
    info_.category =
        (info_.detectMask & kind_.category) != 0 ? kind_.category : tessaron::kOtherCategory;
    if (info_.category == tessaron::kOtherCategory)
      clear();
    else
      add(info_.info, label::kKind, name_);
  }

 private:
  // Whether the streams decide between sound and film.
  bool mayChange() const {
    constexpr std::int32_t kMedia = tessaron::kAudioCategory | tessaron::kVideoCategory;
    return (kind_.category & kMedia) != 0 && (info_.detectMask & kMedia) != 0;
  }

  void clear() {
    info_.info.clear();
    info_.metaInfo.clear();
    info_.audioStreams.clear();
    info_.videoStreams.clear();
    info_.thumbnails.clear();
  }

  // Returns whether the file is of its kind, as far as the reader can tell.
  bool read() {
    switch (kind_.reader) {
      case Reader::Picture:
      case Reader::WeakPicture:
        return readPicture();
      case Reader::Svg:
        return tell(tessaron::readSvgContent(file_));
      case Reader::Media:
      case Reader::WeakMedia:
        return readMedia();
      case Reader::Pdf:
        return readPdf();
      case Reader::Zip:
        return readZip();
      case Reader::Book:
        return tell(kind_.name == "FictionBook"
                        ? tessaron::readFictionBook(file_)
                        : tessaron::readMobipocket(file_, info_.wantsThumbnail));
      case Reader::None:
        return true;
    }
    return true;
  }

  bool readPicture() {
    nameRaw();
    const tessaron::PictureContent picture = tessaron::readPictureContent(file_);
    tell(picture);
    if (picture.exif.empty()) {
      tessaron::addPictureProperties(file_, info_.metaInfo);
    } else {
      const auto exif = tessaron::memoryFile(picture.exif);
      tessaron::addPictureProperties(*exif, info_.metaInfo);
    }
    if (!info_.wantsLocation)
      for (const std::uint32_t place : {label::kLatitude, label::kLongitude, label::kAltitude})
        info_.metaInfo.erase(place);
    tessaron::addXmp(picture.xmp, info_.wantsLocation, info_.metaInfo);
    tessaron::addIptc(picture.iptc, info_.metaInfo);
    for (const auto& [key, text] : picture.texts) info_.metaInfo.emplace(key, text);
    if (info_.wantsThumbnail) takeThumbnail();
    return picture.width > 0 && picture.height > 0;
  }

  // Names the raw files of cameras that are TIFF files like others.
  void nameRaw() {
    struct Row {
      std::u16string_view extension;
      const char16_t* name;
    };
    constexpr Row kRows[] = {{u"dng", u"DNG"},         {u"nef", u"Nikon NEF"},
                             {u"nrw", u"Nikon NRW"},   {u"arw", u"Sony ARW"},
                             {u"sr2", u"Sony SR2"},    {u"pef", u"Pentax PEF"},
                             {u"srw", u"Samsung SRW"}, {u"3fr", u"Hasselblad 3FR"}};
    if (kind_.name != "TIFF") return;
    for (const Row& row : kRows)
      if (tessaron::equalIgnoringCase(info_.extension, row.extension)) name_ = row.name;
  }

  void takeThumbnail() {
    const std::uint64_t size = file_.size().value_or(0);
    info_.thumbnails.assign(1, fipWinImage());
    if (!tessaron::loadPicture(file_, size, info_.thumbnails[0])) info_.thumbnails.clear();
  }

  void takeCover(std::span<const std::byte> bytes) {
    if (!info_.wantsThumbnail || bytes.empty() || !info_.thumbnails.empty()) return;
    info_.thumbnails.assign(1, fipWinImage());
    if (!tessaron::loadPicture(bytes, info_.thumbnails[0])) info_.thumbnails.clear();
  }

  bool tell(const tessaron::PictureContent& picture) {
    PropertyMap& map = info_.info;
    if (picture.width > 0 && picture.height > 0)
      add(map, label::kDimensions, measures(picture.width, picture.height));
    if (picture.bits > 0) add(map, label::kColor, decimalText(picture.bits, 0) + u" bit");
    if (picture.componentBits > 0)
      add(map, label::kBitDepth, decimalText(picture.componentBits, 0) + u" bit");
    if (picture.frames > 1) add(map, label::kFrames, decimalText(picture.frames, 0));
    if (picture.rotation > 0)
      add(map, label::kRotation, decimalText(picture.rotation, 0) + u"\u00B0");
    if (picture.isHdr) add(map, label::kDynamicRange, u"HDR");
    const auto across = static_cast<std::uint32_t>(std::lround(picture.across));
    const auto down = static_cast<std::uint32_t>(std::lround(picture.down));
    if (across > 0 && down > 0) add(map, label::kResolution, measures(across, down) + u" dpi");
    if (kind_.reader == Reader::Svg)
      for (const auto& [key, text] : picture.texts) info_.metaInfo.emplace(key, text);
    return picture.width > 0 && picture.height > 0;
  }

  bool readMedia() {
    using Kind = tessaron::MediaTrack::Kind;
    const auto media = tessaron::readMediaContent(file_, info_.path);
    const auto has = [&](Kind kind) {
      return media && std::ranges::find(media->tracks, kind, &tessaron::MediaTrack::kind) !=
                          media->tracks.end();
    };
    if (has(Kind::Video))
      kind_.category = tessaron::kVideoCategory;
    else if (has(Kind::Audio))
      kind_.category = tessaron::kAudioCategory;
    // Tags of sound are read by the library's own reader, which tells them as it does by name.
    // Tags of sound are read by the library's own reader, which tells them as it does by name.
    const bool hasTags = (info_.detectMask & kind_.category) != 0 &&
                         CWMMDParser(kind_.category).parseByHandle(file_, info_.metaInfo);
    if (media) tessaron::addMedia(*media, info_.wantsLocation, info_);
    completeByHeaders();
    if (!media) return (hasTags && !info_.metaInfo.empty()) || !info_.videoStreams.empty();
    if (auto name = tessaron::containerName(*media, name_); !name.empty()) name_ = std::move(name);
    for (const tessaron::MediaCover& cover : media->covers) takeCover(cover.bytes);
    return !media->tracks.empty();
  }

  // Takes what the library's own readers tell: the data rates of AVI streams, and all of it on a
  // system whose media library cannot read the file.
  void completeByHeaders() {
    StreamList audio, video;
    PropertyMap meta;
    if (kind_.name == "AVI") {
      CRiffFileParser().parseByHandle(file_, meta, audio, video);
    } else if (kind_.name == "MPEG Program Stream" && info_.videoStreams.empty()) {
      CMPEGFileParser().parseByHandle(file_, meta, audio, video);
    }
    info_.metaInfo.merge(meta);
    complete(info_.audioStreams, audio);
    complete(info_.videoStreams, video);
  }

  static void complete(StreamList& streams, StreamList& more) {
    if (streams.empty()) streams.swap(more);
    for (std::size_t i = 0; i < std::min(streams.size(), more.size()); ++i)
      streams[i].merge(more[i]);
  }

  bool readPdf() {
    struct Row {
      std::string_view name;
      std::uint32_t label;
    };
    constexpr Row kTexts[] = {{"title", label::kTitle},
                              {"author", label::kAuthor},
                              {"subject", label::kSubject},
                              {"keywords", label::kKeywords},
                              {"creator", label::kCreationSoftware},
                              {"producer", label::kEncodingTool},
                              {"created", label::kDateCreated},
                              {"modified", label::kDateModified}};
    constexpr Row kFacts[] = {
        {"version", label::kVersion}, {"pages", label::kPages}, {"pageSize", label::kPageSize}};
    for (const auto& [name, value] : tessaron::readPdfProperties(file_)) {
      const auto text = std::ranges::find(kTexts, name, &Row::name);
      const auto fact = std::ranges::find(kFacts, name, &Row::name);
      if (text != std::end(kTexts)) add(info_.metaInfo, text->label, fromUtf8(value));
      if (fact != std::end(kFacts)) add(info_.info, fact->label, fromUtf8(value));
      if (name == "encrypted") protect();
      if (name == "xmp") addDocumentXmp(value);
    }
    return true;
  }

  // Labels for documents differ from those for pictures.
  void addDocumentXmp(std::string_view packet) {
    PropertyMap found;
    tessaron::addXmp(packet, false, found);
    for (auto& [key, text] : found) {
      const std::uint32_t place = key == label::kPictureTitle       ? label::kTitle
                                  : key == label::kPictureAuthor    ? label::kAuthor
                                  : key == label::kPictureCopyright ? label::kCopyright
                                                                    : key;
      info_.metaInfo.emplace(place, std::move(text));
    }
  }

  bool readZip() {
    const auto entries = tessaron::listZipEntries(file_);
    if (!entries) return true;
    tessaron::BookContent book = tessaron::readZipContent(file_, *entries, info_.wantsThumbnail);
    if (!book.kind.empty()) {
      name_ = fromUtf8(book.kind);
      kind_.category = tessaron::kDocumentCategory;
      return tell(std::move(book));
    }
    if (tessaron::equalIgnoringCase(info_.extension, u"cbz")) {
      name_ = u"Comic Book";
      kind_.category = tessaron::kDocumentCategory;
    }
    std::uint64_t size = 0;
    bool isEncrypted = false;
    for (const tessaron::ZipEntry& entry : *entries) {
      size += entry.size;
      isEncrypted |= entry.isEncrypted;
    }
    add(info_.info, label::kEntries, decimalText(static_cast<double>(entries->size()), 0));
    add(info_.info, label::kUnpackedSize,
        hr_unitCalculator(static_cast<double>(size), u"B", u"kmgtp", 1000));
    if (isEncrypted) protect();
    return true;
  }

  bool tell(tessaron::BookContent&& book) {
    for (auto& [key, text] : book.texts) {
      const bool isFact = key == label::kPages || key == label::kVersion;
      (isFact ? info_.info : info_.metaInfo).emplace(key, std::move(text));
    }
    if (!book.coverName.empty()) add(info_.info, label::kCovers, u"1");
    takeCover(std::as_bytes(std::span(book.cover)));
    return true;
  }

  void protect() {
    add(info_.info, label::kProtection, std::u16string(tessaron::stringAt(label::kEncrypted)));
  }

  tessaron::File& file_;
  ContentInfo& info_;
  ContentKind kind_;
  std::u16string name_;
};

}  // namespace

ContentInfo::ContentInfo() = default;
ContentInfo::ContentInfo(const ContentInfo&) = default;
ContentInfo::ContentInfo(ContentInfo&&) noexcept = default;
ContentInfo& ContentInfo::operator=(const ContentInfo&) = default;
ContentInfo& ContentInfo::operator=(ContentInfo&&) noexcept = default;
ContentInfo::~ContentInfo() = default;

bool ContentInfo::fromFile(const std::u16string& filePath) {
  std::error_code error;
  const auto file = tessaron::openFile(filePath, {}, error);
  path = filePath;
  encryptionStatus = tessaron::encryptionStatus(path).value_or(0);
  return file && fromOpenFile(*file, filePath);
}

bool ContentInfo::fromOpenFile(tessaron::File& file, const std::u16string& filePath) {
  path = filePath;
  const std::size_t separator = tessaron::lastSeparator(path);
  if (separator == std::u16string::npos) return false;
  name = path.substr(separator + 1);
  const std::size_t dot = name.rfind(u'.');
  extension = dot == std::u16string::npos ? std::u16string() : name.substr(dot + 1);
  category = tessaron::kOtherCategory;
  const auto status = file.status();
  if (!status) return false;
  constexpr std::uint32_t kDirectory = 0x10;
  sizeLow = static_cast<std::uint32_t>(status->size);
  sizeHigh = static_cast<std::uint32_t>(status->size >> 32);
  creationTime = status->creationTime;
  lastWriteTime = status->lastWriteTime;
  attributes = status->attributes;
  if ((attributes & kDirectory) != 0) return false;
  fromFileHandle(file);
  return true;
}

bool ContentInfo::fromFileHandle(tessaron::File& file) {
  tessaron::ReadWatch watched(file);
  Description(watched, *this).describe();
  const bool isDescribed = info.size() > 1 || !metaInfo.empty() || !audioStreams.empty();
  isUnreadable_ = watched.hasFailed() && !isDescribed && videoStreams.empty();
  const bool isPicture = category == tessaron::kImageCategory && info.contains(label::kDimensions);
  isUndecodable_ = wantsThumbnail && isPicture && thumbnails.empty();
  return false;
}

bool ContentInfo::fromFilePostProcess() { return true; }

void ContentInfo::prepare() {
  tessaron::prepareMediaContent();
  tessaron::preparePictureTags();
  tessaron::preparePdf();
}
