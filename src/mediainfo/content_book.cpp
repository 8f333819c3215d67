#include <algorithm>
#include <span>
#include <string_view>

#include "mediainfo/content_book_internal.h"
#include "mediainfo/labels.h"
#include "support/ascii.h"
#include "support/byte_reader.h"
#include "support/text.h"
#include "support/xml/encoding.h"
#include "support/xml/tree.h"

namespace tessaron {
namespace {

using Element = XmlTree::Element;

constexpr std::uint64_t kMaxDocument = std::uint64_t{4} << 20;
constexpr std::uint64_t kMaxCover = std::uint64_t{32} << 20;

std::string_view localName(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  return colon == name.npos ? name : name.substr(colon + 1);
}

std::u16string trimmed(std::u16string text) {
  constexpr std::u16string_view kBlanks = u" \t\r\n";
  text.erase(text.find_last_not_of(kBlanks) + 1);
  text.erase(0, text.find_first_not_of(kBlanks));
  return text;
}

// Adds a value; further authors, languages and subjects are appended.
void add(std::uint32_t label, std::u16string value, PropertyMap& map) {
  value = trimmed(std::move(value));
  if (value.empty()) return;
  const auto [entry, isNew] = map.emplace(label, value);
  const bool isList = label == label::kAuthor || label == label::kLanguage ||
                      label == label::kKeywords || label == label::kIsbn;
  if (!isNew && isList) entry->second += u"; " + value;
}

std::string attributeOf(Element element, std::string_view name) {
  for (const Element::Attribute& attribute : element.attributes())
    if (localName(attribute.name) == name) return element.attribute(attribute.name).value_or("");
  return {};
}

std::string unpacked(File& zip, std::string_view name, std::uint64_t limit) {
  std::string text;
  const std::string error = extractZipEntry(zip, name, limit, [&](std::string_view part) {
    text += part;
    return true;
  });
  return error.empty() ? text : std::string();
}

/// An XML document of an archive, decoded.
struct Document {
  std::string text;
  XmlTree tree;

  explicit Document(std::string raw) {
    XmlDecoder decoder(raw);
    text = decodeXml(decoder, std::move(raw)).text;
    tree.parse(text);
  }
};

// Calls `visit` with the element and all below it, down to some depth.
template <typename Visit>
void walk(Element element, const Visit& visit, int depth = 0) {
  constexpr int kMaxDepth = 8;
  if (!element || depth > kMaxDepth) return;
  visit(element);
  for (const Element child : element.children()) walk(child, visit, depth + 1);
}

struct Name {
  std::string_view name;
  std::uint32_t label;
};
// Dublin Core and what office programs add to it, without prefixes.
constexpr Name kNames[] = {{"title", label::kTitle},
                           {"creator", label::kAuthor},
                           {"initial-creator", label::kAuthor},
                           {"language", label::kLanguage},
                           {"publisher", label::kPublisher},
                           {"date", label::kYear},
                           {"description", label::kDescription},
                           {"subject", label::kKeywords},
                           {"keyword", label::kKeywords},
                           {"keywords", label::kKeywords},
                           {"rights", label::kCopyright},
                           {"created", label::kDateCreated},
                           {"creation-date", label::kDateCreated},
                           {"modified", label::kDateModified},
                           {"generator", label::kCreationSoftware},
                           {"Application", label::kCreationSoftware},
                           {"Pages", label::kPages},
                           {"Slides", label::kPages}};

void addNamed(Element element, PropertyMap& map) {
  const auto row = std::ranges::find(kNames, localName(element.name()), &Name::name);
  if (row != std::end(kNames)) add(row->label, element.elementText(), map);
}

// Returns the digits of an ISBN; empty for other identifiers.
std::string isbnOf(std::string_view text, std::string_view scheme) {
  std::string plain = lowerLetters(text);
  bool isIsbn = equalIgnoringCase(scheme, "isbn");
  if (plain.starts_with("urn:")) plain.erase(0, 4);
  if (plain.starts_with("isbn")) {
    plain.erase(0, plain.find_first_of("0123456789"));
    isIsbn = true;
  }
  std::erase_if(plain, [](char c) { return c == '-' || c == ' '; });
  const auto isDigit = [](char c) { return (c >= '0' && c <= '9') || c == 'x'; };
  if (plain.size() == 13 && (plain.starts_with("978") || plain.starts_with("979"))) isIsbn = true;
  const bool isLong = plain.size() == 10 || plain.size() == 13;
  if (!isIsbn || !isLong || !std::ranges::all_of(plain, isDigit)) return {};
  if (plain.back() == 'x') plain.back() = 'X';
  return plain;
}

// Resolves a path that stands in a document of the archive.
std::string resolved(std::string_view base, std::string_view path) {
  const std::size_t slash = base.rfind('/');
  std::string joined(slash == base.npos ? std::string_view() : base.substr(0, slash + 1));
  for (std::size_t i = 0; i < path.size(); ++i) {
    const auto digit = [&](std::size_t at) {
      const char c = at < path.size() ? lowerLetter(path[at]) : 'z';
      return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
    };
    if (path[i] == '%' && digit(i + 1) >= 0 && digit(i + 2) >= 0) {
      joined += static_cast<char>(digit(i + 1) * 16 + digit(i + 2));
      i += 2;
    } else {
      joined += path[i];
    }
  }
  for (std::size_t at = joined.find("../"); at != joined.npos && at > 1; at = joined.find("../")) {
    const std::size_t parent = joined.rfind('/', at - 2);
    const std::size_t begin = parent == joined.npos ? 0 : parent + 1;
    joined.erase(begin, at + 3 - begin);
  }
  return joined;
}

/// The package document of an EPUB book.
class Package {
 public:
  Package(const Document& document, std::string_view path) : path_(path) {
    root_ = document.tree.root();
    for (const Element child : root_ ? root_.children() : std::vector<Element>()) {
      if (localName(child.name()) == "metadata") metadata_ = child;
      if (localName(child.name()) == "manifest") manifest_ = child;
    }
  }

  void describe(PropertyMap& map) const {
    if (!metadata_) return;
    for (const Element element : metadata_.children()) {
      const std::string_view name = localName(element.name());
      if (name == "identifier")
        add(label::kIsbn,
            fromUtf8(
                isbnOf(toUtf8(trimmed(element.elementText())), attributeOf(element, "scheme"))),
            map);
      else if (name == "meta")
        describeMeta(element, map);
      else
        addNamed(element, map);
    }
    add(label::kVersion, fromUtf8(attributeOf(root_, "version")), map);
  }

  // Returns where the cover is in the archive.
  std::string cover() const {
    std::string id, path;
    for (const Element meta : metadata_ ? metadata_.children() : std::vector<Element>())
      if (attributeOf(meta, "name") == "cover") id = attributeOf(meta, "content");
    for (const Element item : manifest_ ? manifest_.children() : std::vector<Element>()) {
      const bool isCover =
          (" " + attributeOf(item, "properties") + " ").find(" cover-image ") != std::string::npos;
      const bool isNamed = !id.empty() && attributeOf(item, "id") == id;
      if (isCover || (isNamed && path.empty())) path = attributeOf(item, "href");
    }
    return path.empty() ? path : resolved(path_, path);
  }

 private:
  static void describeMeta(Element meta, PropertyMap& map) {
    const std::string name = attributeOf(meta, "name"), property = attributeOf(meta, "property");
    if (name == "calibre:series") add(label::kSeries, fromUtf8(attributeOf(meta, "content")), map);
    if (name == "calibre:series_index")
      add(label::kEpisode, fromUtf8(attributeOf(meta, "content")), map);
    if (property == "belongs-to-collection") add(label::kSeries, meta.elementText(), map);
    if (property == "group-position") add(label::kEpisode, meta.elementText(), map);
    if (property == "dcterms:modified") add(label::kDateModified, meta.elementText(), map);
  }

  std::string path_;
  Element root_, metadata_, manifest_;
};

void readEpub(File& file, bool wantsCover, BookContent& book) {
  book.kind = "EPUB";
  const Document container(unpacked(file, "META-INF/container.xml", kMaxDocument));
  std::string path;
  walk(container.tree.root(), [&](Element element) {
    if (path.empty() && localName(element.name()) == "rootfile")
      path = attributeOf(element, "full-path");
  });
  const Document document(unpacked(file, path, kMaxDocument));
  const Package package(document, path);
  package.describe(book.texts);
  book.coverName = package.cover();
  if (wantsCover && !book.coverName.empty()) book.cover = unpacked(file, book.coverName, kMaxCover);
}

void readNamed(File& file, std::string_view entry, BookContent& book) {
  const Document document(unpacked(file, entry, kMaxDocument));
  walk(document.tree.root(), [&](Element element) {
    addNamed(element, book.texts);
    if (localName(element.name()) == "document-statistic")
      add(label::kPages, fromUtf8(attributeOf(element, "page-count")), book.texts);
  });
}

struct OpenDocument {
  std::string_view type;
  const char* kind;
};
constexpr OpenDocument kOpenDocuments[] = {
    {"application/vnd.oasis.opendocument.text", "OpenDocument Text"},
    {"application/vnd.oasis.opendocument.spreadsheet", "OpenDocument Spreadsheet"},
    {"application/vnd.oasis.opendocument.presentation", "OpenDocument Presentation"},
    {"application/vnd.oasis.opendocument.graphics", "OpenDocument Drawing"}};

void addFictionTitle(Element title, BookContent& book) {
  for (const Element element : title.children()) {
    const std::string_view name = element.name();
    if (name == "book-title") add(label::kTitle, element.elementText(), book.texts);
    if (name == "genre") add(label::kGenre, element.elementText(), book.texts);
    if (name == "lang") add(label::kLanguage, element.elementText(), book.texts);
    if (name == "date") add(label::kYear, element.elementText(), book.texts);
    if (name == "sequence") add(label::kSeries, fromUtf8(attributeOf(element, "name")), book.texts);
    if (name != "author") continue;
    std::u16string person;
    for (const Element part : element.children())
      if (part.name().ends_with("-name")) person += u' ' + trimmed(part.elementText());
    add(label::kAuthor, person, book.texts);
  }
}

/// Reads a Mobipocket book: a database whose first record describes the others.
class MobipocketReader {
 public:
  MobipocketReader(File& file, BookContent& book) : file_(file), book_(book) {}

  void read(bool wantsCover) {
    const auto head = bytesAt(76, 10);
    ByteReader places(head);
    records_ = places.u16be();
    const std::uint32_t first = places.u32be();
    const auto record = bytesAt(first, kMaxRecord);
    if (!readHeader(record)) return;
    const std::uint64_t number = std::uint64_t{firstPicture_} + cover_;
    if (cover_ == kNone || number + 1 >= records_) return;
    book_.coverName = "cover";
    if (wantsCover) readCover(number);
  }

 private:
  using Bytes = std::span<const std::byte>;
  struct Row {
    std::uint32_t number;
    std::uint32_t label;
  };
  // The records of the extended header.
  static constexpr Row kRows[] = {{100, label::kAuthor},      {101, label::kPublisher},
                                  {103, label::kDescription}, {104, label::kIsbn},
                                  {105, label::kKeywords},    {106, label::kYear},
                                  {503, label::kTitle},       {524, label::kLanguage}};
  static constexpr std::uint32_t kCoverRecord = 201, kUtf8 = 65001, kNone = 0xFFFFFFFF;
  static constexpr std::size_t kMaxRecord = std::size_t{256} << 10;

  std::vector<std::byte> bytesAt(std::uint64_t at, std::size_t size) {
    std::vector<std::byte> bytes(size);
    bytes.resize(readFully(file_, at, bytes).value_or(0));
    return bytes;
  }

  std::u16string text(Bytes bytes) const {
    const std::string raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    return isUtf8_ ? fromUtf8(raw) : utf82wchar(raw);
  }

  bool readHeader(Bytes record) {
    ByteReader reader(record);
    reader.skip(16);
    if (reader.u32be() != 0x4D4F4249) return false;  // "MOBI"
    const std::uint32_t headerSize = reader.u32be();
    reader.skip(4);
    isUtf8_ = reader.u32be() == kUtf8;
    reader.skip(84 - reader.position());
    const std::uint32_t titleAt = reader.u32be(), titleSize = reader.u32be();
    reader.skip(108 - reader.position());
    firstPicture_ = reader.u32be();
    if (reader.ok() && headerSize < record.size() - 16)
      readExtended(record.subspan(16 + headerSize));
    if (titleAt < record.size() && titleSize <= record.size() - titleAt)
      add(label::kTitle, text(record.subspan(titleAt, titleSize)), book_.texts);
    return true;
  }

  void readExtended(Bytes bytes) {
    ByteReader reader(bytes);
    if (reader.u32be() != 0x45585448) return;  // "EXTH"
    reader.skip(4);
    const std::uint32_t count = reader.u32be();
    for (std::uint32_t i = 0; i < count && reader.ok(); ++i) {
      const std::uint32_t number = reader.u32be(), size = reader.u32be();
      const auto value = reader.bytes(size - std::min(size, 8u));
      const auto row = std::ranges::find(kRows, number, &Row::number);
      if (reader.ok() && row != std::end(kRows)) add(row->label, text(value), book_.texts);
      if (number == kCoverRecord) cover_ = ByteReader(value).u32be();
    }
  }

  void readCover(std::uint64_t number) {
    const auto ends = bytesAt(78 + 8 * number, 12);
    ByteReader range(ends);
    const std::uint32_t begin = range.u32be();
    range.skip(4);
    const std::uint32_t end = range.u32be();
    if (!range.ok() || begin >= end || end - begin > kMaxCover) return;
    const auto picture = bytesAt(begin, end - begin);
    book_.cover.assign(reinterpret_cast<const char*>(picture.data()), picture.size());
  }

  File& file_;
  BookContent& book_;
  std::uint16_t records_ = 0;
  bool isUtf8_ = false;
  std::uint32_t firstPicture_ = 0;
  std::uint32_t cover_ = kNone;  // counted from the first picture
};

}  // namespace

BookContent readZipContent(File& file, const std::vector<ZipEntry>& entries, bool wantsCover) {
  BookContent book;
  const auto has = [&](std::string_view name) {
    return std::ranges::find(entries, name, &ZipEntry::name) != entries.end();
  };
  if (has("mimetype")) {
    const std::string type(toUtf8(trimmed(fromUtf8(unpacked(file, "mimetype", 100)))));
    const auto row = std::ranges::find(kOpenDocuments, type, &OpenDocument::type);
    if (row != std::end(kOpenDocuments)) book.kind = row->kind;
    if (type == "application/epub+zip") readEpub(file, wantsCover, book);
    if (row != std::end(kOpenDocuments)) readNamed(file, "meta.xml", book);
    return book;
  }
  if (has("META-INF/container.xml")) {  // a book without its first entry
    readEpub(file, wantsCover, book);
  } else if (has("[Content_Types].xml")) {
    if (has("word/document.xml")) book.kind = "Word";
    if (has("xl/workbook.xml")) book.kind = "Excel";
    if (has("ppt/presentation.xml")) book.kind = "PowerPoint";
    if (book.kind.empty()) return book;
    readNamed(file, "docProps/core.xml", book);
    readNamed(file, "docProps/app.xml", book);
  }
  return book;
}

BookContent readFictionBook(File& file) {
  BookContent book;
  constexpr std::size_t kMaxHead = std::size_t{256} << 10;
  std::string head(kMaxHead, '\0');
  head.resize(readFully(file, 0, std::as_writable_bytes(std::span(head))).value_or(0));
  XmlDecoder decoder(head);
  head = decodeXml(decoder, std::move(head)).text;
  const std::size_t begin = head.find("<description");
  const std::size_t end = head.find("</description>", std::min(begin, head.size()));
  if (end == head.npos) return book;
  const std::string text =
      head.substr(begin, end + std::string_view("</description>").size() - begin);
  XmlTree tree;
  tree.parse(text);
  const Element root = tree.root();
  if (!root) return book;
  if (const Element title = root.child("title-info")) addFictionTitle(title, book);
  if (const Element published = root.child("publish-info")) {
    if (const Element isbn = published.child("isbn"))
      add(label::kIsbn, fromUtf8(isbnOf(toUtf8(isbn.elementText()), "isbn")), book.texts);
    if (const Element publisher = published.child("publisher"))
      add(label::kPublisher, publisher.elementText(), book.texts);
  }
  return book;
}

BookContent readMobipocket(File& file, bool wantsCover) {
  BookContent book;
  MobipocketReader(file, book).read(wantsCover);
  return book;
}

}  // namespace tessaron
