#include "records/record_set.h"

#include "platform/file.h"
#include "platform/system.h"
#include "records/item_walk.h"
#include "support/files.h"
#include "support/xml.h"

bool CRecordSet::fromFile(std::u16string path) {
  std::string text;
  return tessaron::readFile(path, text) && fromString(std::move(text));
}

bool CRecordSet::fromString(std::string text) {
  TiXmlDocument document;
  return tessaron::parseReadable(std::move(text), document) && fromXml(&document);
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
  if (!toXml(&document)) return false;
  tessaron::printXml(document, out);
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
