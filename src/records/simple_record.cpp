#include "records/simple_record.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "support/files.h"
#include "support/xml/xml.h"

CSimpleRecord::CSimpleRecord() = default;
CSimpleRecord::CSimpleRecord(const CSimpleRecord&) = default;
CSimpleRecord& CSimpleRecord::operator=(const CSimpleRecord&) = default;
CSimpleRecord::~CSimpleRecord() = default;

bool CSimpleRecord::fromString(std::string text) {
  TiXmlDocument document;
  return tessaron::parseReadable(std::move(text), document) && fromXml(&document);
}

bool CSimpleRecord::fromFile(std::u16string path) {
  try {
    std::string text;
    return tessaron::readFile(path, text) && fromString(std::move(text));
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {  // longer than a string can be
    return false;
  }
}

bool CSimpleRecord::toString(std::string& out) {
  TiXmlDocument document;
  if (!toXml(&document)) return false;
  tessaron::printXml(document, out);
  return true;
}
