#pragma once

#include <tinyxml.h>

#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include "platform/file.h"
#include "tessaron_export.h"

namespace tessaron {

/// What was found in a package, and what could not be done with it.
struct TESSARON_API PackageReport {
  /// A piece of the package that was not taken as it stands.
  struct Problem {
    std::uint32_t entry = 0;  ///< its id
    std::u16string name;      ///< the file's name as the index has it; empty when it has none
    std::string reason;       ///< one line in English
  };
  struct Entry {
    std::uint32_t id = 0;
    std::int32_t packedSize = 0;        ///< bytes, as the entry claims
    std::int32_t size = 0;              ///< bytes, as the entry claims
    std::vector<std::u16string> names;  ///< those that the index gives it
  };

  std::error_code openError;      ///< why the file could not be opened, if it was that
  bool isPackage = false;         ///< it was opened, and begins as a package does
  std::vector<Entry> entries;     ///< those with data, as far as they were read
  std::vector<Problem> problems;  ///< in the order of the entries
};

}  // namespace tessaron

// A package: a header, then entries up to the end of the file, each a header with its data behind
// it. All numbers little-endian. Frozen: files in this format are out in the world.
//
//      0    2  the bytes "TP"                0    4  id; 0 marks the index
//      2    2  version: 1                    4    4  compressed size in bytes, signed
//      4   16  identifier                    8    4  size in bytes, signed
//     20 1024  reserved                     12   64  reserved
//
// The data is a zlib stream. The index is an XML document whose root has an element with the
// attributes "id" and "filename" for every file; the file "main.xml" describes the package.

/// A file that carries the files of a theme. Reading it needs no more memory than a fixed buffer
/// and the two documents, whatever the file claims.
class TESSARON_API CPackage {
 public:
  std::u16string path;      ///< the file that `Initialize` opens
  std::u16string reserved;  ///< not used by the library
  std::u16string author;
  std::u16string email;
  std::u16string url;
  std::u16string name;
  std::u16string description;
  std::uint8_t identifier[16] = {};
  char16_t identifierText[64] = {};  ///< 32 upper-case hexadecimal digits; the rest is zero
  std::u16string extractionFolder;   ///< empty unless files are unpacked
  TiXmlDocument* index;              ///< owned, never null
  TiXmlDocument* mainDocument;       ///< owned, never null; of "main.xml"
  tessaron::PackageReport report;    ///< of the last time the package was read

  CPackage();
  ~CPackage();
  /// A copy has documents of its own.
  CPackage(const CPackage& other);
  CPackage& operator=(const CPackage& other);

  /// Reads the file, then calls `PreInitialize` and `PostInitialize`, also when it cannot be read.
  void Initialize(std::u16string destination, bool extractAll);
  void PreInitialize();
  std::u16string GetPathExtracted() { return extractionFolder; }
  virtual void PostInitialize() = 0;
};
