#pragma once

#include <tinyxml.h>

#include <string>
#include <system_error>
#include <vector>

#include "records/record.h"
#include "tessaron_export.h"

/// An ordered list of records, kept in one file.
class TESSARON_API CRecordSet {
 public:
  std::vector<CRecord> records;

  CRecordSet();
  CRecordSet(const CRecordSet&);
  CRecordSet(CRecordSet&&) noexcept;
  CRecordSet& operator=(const CRecordSet&);
  CRecordSet& operator=(CRecordSet&&) noexcept;
  ~CRecordSet();

  /// Reads a file and appends its items. False, and nothing changed, when it cannot be read, is
  /// empty, names an unknown encoding, or memory does not suffice.
  bool fromFile(std::u16string path);
  /// Parses `text` and appends its items, also those before an error. False only for an empty
  /// text and for one in an encoding that is not known. Nothing changed when it throws bad_alloc.
  bool fromString(std::string text);
  /// Appends a record for every "Details" below the root and every "Item" below the root's "Items".
  /// True also when there is none; false only for an unreadable pointer.
  bool fromXml(TiXmlDocument* document);
  /// Appends the set's document to `out`. On failure `out` is untouched.
  bool toString(std::string& out);
  /// Makes `document` the set's document. False only for an unreadable pointer.
  bool toXml(TiXmlDocument* document);
  /// As `saveTo`, without a result. Always false, also after success.
  bool toFile(std::u16string path);
  /// Replaces the file at `path` with the set's document. On failure returns false and sets
  /// `error`; the old file is then as it was.
  bool saveTo(const std::u16string& path, std::error_code& error);
  /// Removes all records.
  void clear();
};
