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

/// What was found in a package, and what could not be done with it. A value: each thread may use
/// its own.
struct TESSARON_API PackageReport {
  /// A part of the package that is damaged or was dropped.
  struct Problem {
    std::uint32_t entry = 0;  ///< its id
    std::u16string name;      ///< the file's name in the index; empty when it has none
    std::string reason;       ///< one line in English
  };
  struct Entry {
    std::uint32_t id = 0;
    std::int32_t packedSize = 0;        ///< bytes, according to the entry
    std::int32_t size = 0;              ///< bytes, according to the entry
    std::vector<std::u16string> names;  ///< according to the index
  };

  /// Why a package was not unpacked.
  enum class Failure {
    None,
    TooLarge,      ///< it exceeds a limit for packages
    CannotCreate,  ///< its folder or a file in it cannot be created
    CannotWrite,   ///< a file cannot be written or replaced, or the disk is nearly full
    CannotRead,    ///< the package's own file cannot be read
  };

  std::error_code openError;      ///< why the file could not be opened
  bool isPackage = false;         ///< the file was opened and has a package's header
  std::vector<Entry> entries;     ///< entries with data, as far as they were read; at most 65536
  std::vector<Problem> problems;  ///< in the order found; at most 1000
  /// Unless it is None, unpacking left all files as they were.
  Failure failure = Failure::None;
  std::string failureReason;  ///< one line in English; empty without a failure
};

}  // namespace tessaron

// A package: a header, then entries up to the end of the file, each a header followed by its data.
// All numbers little-endian. Frozen: packages in this format are in use.
//
//      0    2  the bytes "TP"                0    4  id; 0 marks the index
//      2    2  version: 1                    4    4  compressed size in bytes, signed
//      4   16  identifier                    8    4  size in bytes, signed
//     20 1024  reserved                     12   64  reserved
//
// The data is a zlib stream. The index is an XML document whose root has an element with the
// attributes "id" and "filename" for every file; the file "main.xml" describes the package.

/// A file that contains the files of a theme. Reading it takes a fixed buffer and the memory of the
/// two documents, whatever sizes the file claims. One thread at a time; different objects are
/// independent, also when they unpack into the same folder: one waits for the other.
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
  /// Copies the documents.
  CPackage(const CPackage& other);
  CPackage& operator=(const CPackage& other);

  /// Reads the file at `path` and unpacks it into a folder named after the identifier below the
  /// existing folder `destination`; then calls `PreInitialize` and `PostInitialize`, also when the
  /// file cannot be read. Without `extractAll` reading ends after "main.xml". With an empty
  /// `destination` only the index is read. Errors are reported through `report` only. Texts and
  /// documents that the file lacks keep the values of an earlier call.
  ///
  /// All files are put in place or none: they are written beside the existing ones, and renamed
  /// when all are written. A file whose content is the same is not written. On a failure the folder
  /// is as it was, and `report.failure` tells why: among others for a package that unpacks to more
  /// than 1 GiB, has more than 65536 entries or more than 4096 names for them, or would leave less
  /// than 16 MiB free on the disk, and after a read error.
  ///
  /// Nothing is written outside that folder. Dropped are names that lead out of it, that some
  /// system does not accept, that differ from an earlier one only in case, or that a link in the
  /// folder has. A damaged entry gives what inflates before the first error; zeros replace data
  /// behind the end of the file. A document above 4 MiB is dropped, a file above 256 MiB becomes
  /// empty, and an entry's names after the sixteenth are dropped.
  void Initialize(std::u16string destination, bool extractAll);
  /// As above, from an open file, starting at its position.
  void Initialize(tessaron::File& file, std::u16string destination, bool extractAll);

  /// As `Initialize`, without writing: reads the index and "main.xml", and checks the names of all
  /// entries; without `readAll` reading ends after "main.xml".
  void Inspect(bool readAll);
  void Inspect(tessaron::File& file, bool readAll);

  /// As `Inspect(true)`, and inflates all files: `report.failure` tells whether they exceed a
  /// limit, `report.problems` which of them are damaged.
  void Measure();
  void Measure(tessaron::File& file);

  /// Reads author, e-mail, web address, name and description from the main document. Missing ones
  /// stay unchanged.
  void PreInitialize();

  /// The folder with the unpacked files; empty when nothing was unpacked.
  std::u16string GetPathExtracted() { return extractionFolder; }

  /// Called last, for a derived package to read its own data.
  virtual void PostInitialize() = 0;

 protected:
  ~CPackage();  // not virtual: PostInitialize is the whole virtual table

 private:
  void start();
  std::unique_ptr<tessaron::File> open();
  void finish();
};
