#include "records/record_set.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <new>
#include <stdexcept>
#include <utility>

#include "platform/file.h"
#include "platform/system.h"
#include "records/item_stream.h"
#include "records/item_text.h"
#include "records/item_walk.h"
#include "support/files.h"
#include "support/xml/encoding.h"
#include "support/xml/xml.h"

namespace {

// How many items a text of `size` bytes probably has when `count` of them end before `position`:
// at least one more, at most twice as many and some.
std::size_t expectedItems(std::size_t count, std::uint64_t position, std::size_t size) {
  const double share = static_cast<double>(count) / static_cast<double>(position + 1);
  const auto expected = static_cast<std::size_t>(share * static_cast<double>(size) * 1.02);
  return count + std::clamp<std::size_t>(expected - std::min(expected, count), 8, 2 * count + 64);
}

}  // namespace

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
  if (text.empty()) return false;
  tessaron::XmlDecoder decoder(text);
  if (decoder.error()) return false;
  const tessaron::DecodedXml document = tessaron::decodeXml(decoder, std::move(text));
  std::vector<CRecord> fresh;  // nothing changes when memory does not suffice
  tessaron::ItemStream items(document.text);
  while (items.next()) {
    if (fresh.size() == fresh.capacity()) {
      fresh.reserve(expectedItems(fresh.size(), items.position(), document.text.size()));
    }
    items.read(fresh.emplace_back());
  }
  if (items.isInItem()) items.readBroken(fresh.emplace_back());
  if (records.empty()) {
    records = std::move(fresh);
  } else {
    records.reserve(records.size() + fresh.size());
    std::move(fresh.begin(), fresh.end(), std::back_inserter(records));
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

  // One item at a time: a document of them all would be many times as large as the text.
  constexpr std::string_view kEmpty = "<Items />";
  const std::size_t items = frame.find(kEmpty);
  out.append(frame, 0, items) += "<Items>";
  for (CRecord& record : records) tessaron::writeItem(record, out);
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
