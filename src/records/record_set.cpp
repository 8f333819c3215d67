#include "records/record_set.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "platform/file.h"
#include "platform/system.h"
#include "records/item_scanner.h"
#include "records/item_walk.h"
#include "support/files.h"
#include "support/xml/encoding.h"
#include "support/xml/outline.h"
#include "support/xml/xml.h"

CRecordSet::CRecordSet() = default;
CRecordSet::CRecordSet(const CRecordSet&) = default;
CRecordSet::CRecordSet(CRecordSet&&) noexcept = default;
CRecordSet& CRecordSet::operator=(const CRecordSet&) = default;
CRecordSet& CRecordSet::operator=(CRecordSet&&) noexcept = default;
CRecordSet::~CRecordSet() = default;

bool CRecordSet::fromFile(std::u16string path) {
  try {  // in the body: GCC 12 for Windows loses what a function's own try block should catch
    std::string text;
    return tessaron::readFile(path, text) && fromString(std::move(text));
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {  // longer than a string can be
    return false;
  }
}

bool CRecordSet::fromString(std::string text) {
  using Piece = tessaron::XmlScanner::Piece;
  if (text.empty()) return false;
  tessaron::DecodedXml decoded = tessaron::decodeXml(std::move(text));
  if (decoded.fault.kind == tessaron::XmlFault::Kind::UnknownEncoding) return false;
  text = std::move(decoded.text);
  struct Item {
    tessaron::TextRange range;
    int version;
    bool needsRewriting;
  };
  std::vector<Item> items;
  tessaron::ItemScanner scanner(text);
  Piece piece{};
  do {
    piece = scanner.next();
    if (!scanner.isItem()) continue;
    items.push_back(
        {{scanner.begin(), scanner.end()}, scanner.version(), scanner.needsRewriting()});
  } while (piece != Piece::Finished && piece != Piece::Faulty);

  // One item at a time: a document of them all would be many times as large as the text.
  std::vector<CRecord> fresh;
  fresh.reserve(items.size());
  TiXmlDocument document;
  for (const auto& [range, version, needsRewriting] : items) {
    if (needsRewriting) {
      tessaron::parseXml(std::string(range.of(text)), document);
    } else {
      const char behind = std::exchange(text[range.end], '\0');
      tessaron::parseValidated(text.data() + range.begin, document);
      text[range.end] = behind;
    }
    if (!fresh.emplace_back().fromXmlNodeVersion(document.RootElement(), version)) fresh.pop_back();
  }
  if (records.empty()) {
    records = std::move(fresh);
  } else {
    records.reserve(records.size() + fresh.size());
    for (CRecord& record : fresh) records.push_back(std::move(record));
  }
  return true;
}

bool CRecordSet::fromXml(TiXmlDocument* document) {
  if (!tessaron::isReadable(document)) return false;
  tessaron::forEachItem(*document, [this](TiXmlElement& item, int version) {
    if (!records.emplace_back().fromXmlNodeVersion(&item, version)) records.pop_back();
    return false;
  });
  return true;
}

bool CRecordSet::toString(std::string& out) {
  TiXmlDocument document;
  CRecordSet().toXml(&document);
  std::string frame;
  tessaron::printXml(document, frame);
  if (records.empty()) {
    out += frame;
    return true;
  }

  // One item at a time, as in reading. The text is that of the whole document.
  constexpr std::string_view kEmpty = "<Items />";
  const std::size_t items = frame.find(kEmpty);
  out.append(frame, 0, items) += "<Items>";
  for (CRecord& record : records) {
    TiXmlElement item("Item");
    record.composeItemNode(&item);
    tessaron::printXml(item, out);
  }
  (out += "</Items>").append(frame, items + kEmpty.size());
  return true;
}

bool CRecordSet::toXml(TiXmlDocument* document) {
  if (!tessaron::isReadable(document)) return false;
  document->Clear();
  tessaron::appendDeclaration(*document);
  TiXmlElement* root = tessaron::appendElement(*document, "PriceTracker");
  TiXmlElement* items = tessaron::appendElement(*root, "Items");
  for (CRecord& record : records) record.composeItemNode(tessaron::appendElement(*items, "Item"));
  return true;
}

bool CRecordSet::toFile(std::u16string path) {
  std::error_code error;
  saveTo(path, error);
  // QUIRK: false, whether or not the file was written. A result would be expected. Kept: callers
  // were written against it; those who want to know call saveTo.
  return false;
}

bool CRecordSet::saveTo(const std::u16string& path, std::error_code& error) {
  std::string text;
  toString(text);
  error = tessaron::replaceFile(path, text);
  return !error;
}

void CRecordSet::clear() { records.clear(); }
