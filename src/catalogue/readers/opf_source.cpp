#include "catalogue/readers/opf_source.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "catalogue/readers/element_stream_internal.h"
#include "catalogue/readers/filling_internal.h"
#include "platform/directory.h"
#include "platform/file.h"
#include "records/field_text.h"
#include "support/ascii.h"
#include "support/dos_date.h"
#include "support/text.h"
#include "support/xml/encoding.h"
#include "support/xml/tree.h"

namespace tessaron {
namespace {

using Element = XmlTree::Element;
using Kind = SourceError::Kind;

constexpr std::size_t kMaxDepth = 32;
constexpr std::uint64_t kMaxDocument = std::uint64_t{16} << 20;

// A name without its namespace's prefix.
std::string_view localName(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  return colon == name.npos ? name : name.substr(colon + 1);
}

std::string textOf(Element element) { return std::string(trimmedText(toUtf8(prose(element)))); }

// The value of an attribute, whatever the prefix of its name; empty when there is none.
std::string attributeOf(Element element, std::string_view name) {
  for (const Element::Attribute& attribute : element.attributes())
    if (localName(attribute.name) == name) return element.attribute(attribute.name).value_or("");
  return {};
}

/// Reads a package's metadata into a record.
class PackageReader {
 public:
  PackageReader(Element metadata, CRecord& record) : metadata_(metadata), record_(record) {}

  void read() {
    for (const Element element : metadata_.children()) readElement(element);
    if (!tags_.empty()) addCustomField(record_, "Tags", tags_);
    record_.hasDescription = !record_.description.empty();
    record_.ProductGroup = u"Book";
  }

 private:
  void readElement(Element element) {
    const std::string_view name = localName(element.name());
    if (name == "meta") return readMeta(element);
    const std::string text = textOf(element);
    if (text.empty()) return;
    if (name == "title" && record_.Title.empty()) record_.Title = fromUtf8(text);
    if (name == "creator" || name == "contributor") readPerson(element, text, name == "creator");
    if (name == "publisher") record_.Publisher = fromUtf8(text);
    if (name == "date" && record_.PublicationDate.empty())
      record_.PublicationDate = fromUtf8(plainDate(text));
    if (name == "language") record_.languages.push_back(fromUtf8(text));
    if (name == "description") record_.description = fromUtf8(text);
    if (name == "subject") tags_ += (tags_.empty() ? "" : "; ") + text;
    if (name == "identifier") readIdentifier(element, text);
  }

  // The role stands in an attribute, or in a "meta" that refines the element.
  void readPerson(Element element, const std::string& name, bool isCreator) {
    std::string role = attributeOf(element, "role");
    const std::string id = attributeOf(element, "id");
    for (const Element meta : metadata_.children()) {
      if (id.empty() || localName(meta.name()) != "meta") continue;
      if (attributeOf(meta, "refines") == '#' + id && attributeOf(meta, "property") == "role")
        role = textOf(meta);
    }
    if (role == "trl") return record_.translators.push_back(fromUtf8(givenNameFirst(name)));
    if (role == "aut" || (isCreator && role.empty()))
      record_.authors.push_back(fromUtf8(givenNameFirst(name)));
  }

  void readIdentifier(Element element, std::string_view text) {
    std::string scheme = lowerLetters(attributeOf(element, "scheme"));
    std::string plain = lowerLetters(text);
    if (plain.starts_with("urn:")) plain.erase(0, 4);
    if (plain.starts_with("isbn:")) scheme = "isbn", plain.erase(0, 5);
    if (scheme == "isbn") addProductNumber(record_, plain);
    if ((scheme.starts_with("amazon") || scheme == "asin" || scheme == "mobi-asin") &&
        record_.ASIN.empty())
      record_.ASIN = fromUtf8(text);
  }

  void readMeta(Element meta) {
    const std::string name = attributeOf(meta, "name");
    const std::string content = attributeOf(meta, "content");
    if (name == "calibre:series") addCustomField(record_, "Series", content);
    if (name == "calibre:series_index") addCustomField(record_, "Volume", content);
    if (name == "calibre:rating") addCustomField(record_, "My rating", content);
    if (name == "calibre:timestamp") record_.DateAdded = parseIsoDate(plainDate(content));
  }

  Element metadata_;
  CRecord& record_;
  std::string tags_;
};

OpenMode readingMode() {
  OpenMode mode;
  mode.shareWrite = mode.shareDelete = true;
  return mode;
}

// Appends the paths of all packages below a folder.
void findPackages(const std::u16string& folder, std::size_t depth,
                  std::vector<std::u16string>& found, std::error_code& error) {
  std::vector<FolderEntry> entries = readFolder(folder, error);
  if (error) return;
  std::ranges::sort(entries, {}, &FolderEntry::name);
  for (const FolderEntry& entry : entries) {
    const std::u16string path = joinPath(folder, entry.name);
    if (entry.kind == EntryKind::File && entry.name == u"metadata.opf") found.push_back(path);
    if (entry.kind == EntryKind::Folder && depth < kMaxDepth)
      findPackages(path, depth + 1, found, error);
  }
}

class PackageSource : public RecordSource {
 public:
  explicit PackageSource(std::unique_ptr<File> document) : PackageSource() {
    document_ = std::move(document);
  }

  explicit PackageSource(std::u16string_view folder) : PackageSource() {
    std::error_code error;
    findPackages(std::u16string(folder), 0, paths_, error);
    if (error) fail(Kind::Unreadable, error.message());
  }

  bool next(SourceItem& item) override {
    if (const std::unique_ptr<File> document = std::move(document_)) {
      item.error = readPackage(*document, item.record);
    } else if (error_ || at_ == paths_.size()) {
      return false;
    } else {
      const std::u16string& path = paths_[at_++];
      std::error_code error;
      const std::unique_ptr<File> file = openFile(path, readingMode(), error);
      item.error = file ? readPackage(*file, item.record) : error.message();
      if (!item.error.empty()) item.error = toUtf8(path) + ": " + item.error;
    }
    item.isDated = item.record.DateAdded != 0;
    return true;
  }

 private:
  PackageSource() {
    summary_.format = "OPF";
    summary_.program = "calibre";
  }

  // An error when the document is none, or damaged.
  static std::string readPackage(File& file, CRecord& record) {
    if (file.size().value_or(0) > kMaxDocument) return "the document has more than 16 MiB";
    std::string text;
    if (!readToEnd(file, text)) return "the document cannot be read";
    XmlDecoder decoder(text);
    DecodedXml decoded = decodeXml(decoder, std::move(text));
    if (decoded.error) return decoded.error.message;
    const std::unique_ptr<File> document = memoryFile(std::move(decoded.text));
    ElementStream elements(*document,
                           [](const XmlScanner& scanner, std::string_view, std::size_t depth) {
                             return depth == 1 && localName(scanner.name()) == "metadata";
                           });
    if (elements.next() && localName(elements.rootName()) == "package") {
      PackageReader(elements.element(), record).read();
      while (elements.next()) {
      }
      if (!elements.error()) return {};
    }
    const XmlError& wrong = elements.error();
    return wrong ? "line " + std::to_string(wrong.line) + ": " + wrong.message
                 : "this is no package document";
  }

  std::unique_ptr<File> document_;
  std::vector<std::u16string> paths_;
  std::size_t at_ = 0;
};

}  // namespace

std::unique_ptr<RecordSource> openPackage(std::unique_ptr<File> document) {
  return std::make_unique<PackageSource>(std::move(document));
}

std::unique_ptr<RecordSource> openPackages(std::u16string_view folder) {
  return std::make_unique<PackageSource>(folder);
}

}  // namespace tessaron
