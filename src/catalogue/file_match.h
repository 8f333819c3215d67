#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "catalogue/edit.h"
#include "mediainfo/file_info.h"
#include "records/record.h"
#include "tessaron_export.h"

namespace tessaron {

/// What a file tells of the item that it belongs to.
struct FileFacts {
  enum class Kind { Other, Book, Sound, Film };
  struct Title {
    std::u16string text;
    const char* source;  ///< such as "title" or "file name"
    double weight;       ///< how sure it is that this names the item, at most 1
  };
  struct Number {
    std::u16string digits;  ///< 13 digits, see `productNumber`
    const char* source;     ///< such as "ISBN" or "bar code"
  };

  Kind kind = Kind::Other;
  std::vector<Number> numbers;
  std::u16string asin;
  std::vector<Title> titles;
  std::vector<std::u16string> people;
  int year = 0;        ///< 0: not known
  double minutes = 0;  ///< the run time of a film; 0: not known
};

/// The facts in the description of a file and in its path. For any thread.
TESSARON_API FileFacts factsOf(const CFileInfo& file);

/// An item that a file may belong to.
struct FileMatch {
  std::size_t place = 0;  ///< of the item in the collection, from 0
  std::u16string asin;
  std::u16string title;
  int score = 0;                     ///< from 1 to 100; 100 is a product number in common
  std::vector<std::string> reasons;  ///< what counted, English: "title", "other people"
};

/// Finds the items that files belong to. Keeps of each item what it is found by, not the item; the
/// time for a file hardly depends on their number. After the items were added any thread may ask.
class TESSARON_API FileMatcher {
 public:
  /// The score from which on, and its lead over the next item by which, a match is clear.
  static constexpr int kClearScore = 75, kClearLead = 10;

  FileMatcher();
  ~FileMatcher();
  FileMatcher(const FileMatcher&) = delete;
  FileMatcher& operator=(const FileMatcher&) = delete;

  /// Adds the next item of a collection.
  void add(const ItemStream& items);

  /// The items that the file may belong to with a score from `minScore` on, the best first, at most
  /// `count` of them.
  std::vector<FileMatch> match(const FileFacts& facts, int minScore, std::size_t count) const;

  /// Whether the first of the matches, of which two at least were asked for, is clear.
  static bool isClear(const std::vector<FileMatch>& matches);

  /// The item to which a file is linked by this path, see `CLinkedFile`; null when to none.
  const FileMatch* linkedItem(const std::u16string& link) const;

 private:
  friend class LinkMatches;
  struct Parts;
  std::unique_ptr<Parts> parts_;
};

/// The edit that links files to items of the collection that a FileMatcher has read. Used by one
/// thread at a time.
class TESSARON_API LinkMatches : public ItemEdit {
 public:
  using Links = std::map<std::size_t, std::vector<CLinkedFile>>;  ///< by the places of the items

  /// `matcher` must outlive the edit.
  LinkMatches(const FileMatcher& matcher, Links links);
  ~LinkMatches() override;

  ItemChange change(const ItemStream& items) override;
  /// Whether the collection is the one that was read.
  bool accept() override;

 private:
  struct Walk;
  const FileMatcher& matcher_;
  Links links_;
  std::unique_ptr<Walk> walk_;
};

}  // namespace tessaron
