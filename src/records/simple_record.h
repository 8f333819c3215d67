#pragma once

#include <tinyxml.h>

#include <string>

#include "tessaron_export.h"

/// A document that is kept as XML. Holds no data; what it is read from and written to is up to the
/// two operations that its heirs supply.
class TESSARON_API CSimpleRecord {
 public:
  CSimpleRecord();
  CSimpleRecord(const CSimpleRecord&);
  CSimpleRecord& operator=(const CSimpleRecord&);

  /// Fills the record from a parsed document. False for an unreadable pointer.
  virtual bool fromXml(TiXmlDocument* document) = 0;
  /// Parses `text` and hands the document to `fromXml`, whose result comes back. Malformed text is
  /// not reported: what precedes the error is read. False for an empty text and for one in an
  /// encoding that is not known.
  virtual bool fromString(std::string text);
  /// Reads a file and hands its text to `fromString`, whose result comes back. False, and nothing
  /// changed, when it cannot be read or memory does not suffice.
  virtual bool fromFile(std::u16string path);
  /// Makes `document` the record's document. False for an unreadable pointer.
  virtual bool toXml(TiXmlDocument* document) = 0;
  /// Appends the record's document to `out`. On failure `out` is untouched.
  virtual bool toString(std::string& out);

 protected:
  ~CSimpleRecord();  // not virtual: the five operations are the whole virtual table
};
