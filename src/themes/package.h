#pragma once

#include <tinyxml.h>

#include <cstdint>
#include <memory>
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

  /// Why a package was not unpacked.
  enum class Failure {
    None,
    TooLarge,      ///< it exceeds a limit of what a package may hold
    CannotCreate,  ///< its folder or a file there cannot be made
    CannotWrite,   ///< a file cannot be written or replaced, or the disk is nearly full
    CannotRead,    ///< the package's own file cannot be read
  };

  std::error_code openError;      ///< why the file could not be opened, if it was that
  bool isPackage = false;         ///< it was opened, and begins as a package does
  std::vector<Entry> entries;     ///< those with data, as far as they were read; at most 65536
  std::vector<Problem> problems;  ///< in the order in which they were found; at most 1000
  /// Unless it is None, unpacking left all files as they were before.
  Failure failure = Failure::None;
  std::string failureReason;  ///< one line in English; empty without a failure
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
  /// A copy has documents of its own.
  CPackage(const CPackage& other);
  CPackage& operator=(const CPackage& other);

  /// Reads the file at `path`, and unpacks it into a folder named after the identifier below
  /// `destination`, which must be there; then calls `PreInitialize` and `PostInitialize`, also when
  /// the file cannot be read. Without `extractAll` reading ends behind "main.xml". With an empty
  /// `destination` only the index is read. Nothing is reported but through `report`. Of what an
  /// object has read before, texts and documents stay where the new file has none.
  ///
  /// The files are written beside those that are there, and put in their places when all are
  /// written; one that is there with the same content is left alone. When that fails, what the call
  /// has written is removed again, and `report.failure` tells why. A package is given up that
  /// unpacks to more than 1 GiB, has more than 65536 entries or more than 4096 names for them, or
  /// would leave less than 16 MiB free on the disk.
  ///
  /// Nothing is written outside that folder: a name that would lead out of it, that some system
  /// takes for something else, that differs from an earlier one only in case, or that stands there
  /// as a link, is dropped. What an entry inflates to before its first fault is taken as it is;
  /// where the file ends inside it, zeros stand for the missing data. A document of more than 4 MiB
  /// is dropped, a file of more than 256 MiB stays empty, the seventeenth name of one entry and
  /// those behind it are dropped.
  void Initialize(std::u16string destination, bool extractAll);
  /// The same from an open file, from its position on.
  void Initialize(tessaron::File& file, std::u16string destination, bool extractAll);

  /// As `Initialize`, without writing anything: reads the index and "main.xml", and looks at the
  /// names of all entries; without `readAll` not at those behind "main.xml".
  void Inspect(bool readAll);
  void Inspect(tessaron::File& file, bool readAll);

  /// As `Inspect(true)`, and inflates all files to find what unpacking would: `report.failure`
  /// tells whether they exceed a limit, `report.problems` which of them are damaged.
  void Measure();
  void Measure(tessaron::File& file);

  /// Takes author, e-mail, web address, name and description out of the main document. What that
  /// does not have stays as it is.
  void PreInitialize();

  /// The folder with the unpacked files; empty when nothing was unpacked.
  std::u16string GetPathExtracted() { return extractionFolder; }

  /// Called when all else is read, for a derived package to take what is its own.
  virtual void PostInitialize() = 0;

 protected:
  ~CPackage();  // not virtual: PostInitialize is the whole virtual table

 private:
  void start();
  std::unique_ptr<tessaron::File> open();
  void finish();
};
