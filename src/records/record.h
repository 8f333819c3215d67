#pragma once

#include <tinyxml.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mediainfo/folder_info.h"
#include "platform/picture.h"
#include "records/simple_record.h"
#include "tessaron_export.h"

/// One market offer of an item.
struct COffer {
  std::u16string SellerId;
  std::u16string Nickname;
  std::u16string State;    ///< where the seller is
  std::u16string Country;  ///< where the seller is
  std::u16string Condition;
  std::u16string ConditionNote;
  std::u16string OfferListingId;
  std::u16string Price;  ///< formatted
  std::u16string Availability;

  bool operator==(const COffer&) const = default;
};

/// The offer listing that is kept for an item.
struct COfferListing {
  std::u16string OfferListingId;
  std::u16string Price;  ///< formatted
  std::u16string Availability;

  bool operator==(const COfferListing&) const = default;
};

/// A loan of an item, or of one copy of it; or another status that waits until the loans end.
/// Values may be read and written by any thread that has the loan to itself.
struct CLoan {
  std::int32_t status = 0;     ///< as CRecord::status: 0 to 3 for a loan, 4 to 7 for one that waits
  std::u16string who;          ///< as CRecord::StatusTarget
  std::uint16_t begin = 0;     ///< MS-DOS date, 0 for none, as the other two
  std::uint16_t end = 0;       ///< when it is due
  std::uint16_t returned = 0;  ///< when it ended; 0 while it is open

  bool operator==(const CLoan&) const = default;
};

/// A file that belongs to an item: a book, a track, a film. Values may be read and written by any
/// thread that has the file to itself.
struct CLinkedFile {
  std::u16string path;      ///< absolute, or from the folder of the collection on; with slashes
  std::uint64_t size = 0;   ///< of the file when it was linked, in bytes
  std::u16string checksum;  ///< of its content then, see `tessaron::fileChecksum`; may be empty
  std::uint16_t added = 0;  ///< when it was linked: MS-DOS date, 0 for none

  bool operator==(const CLinkedFile&) const = default;
};

/// One item of the catalogue: a book, disc, film, game or other product, filled from the product
/// web service and completed by the user.
///
/// A presence flag `hasX` tells whether its field holds a value; `postProcess` brings
/// flags and fields in step. The order of the fields is part of the exported layout. Dates are
/// MS-DOS date words, 0 for none. The record owns all that it holds; a copy is independent.
class TESSARON_API CRecord : public CSimpleRecord {
 public:
  using Strings = std::vector<std::u16string>;

  std::int32_t reserved1 = 0;  ///< the application's
  std::int32_t reserved2 = 0;
  bool hasIcon = false;
  std::int32_t icon = 0;
  bool hasStatus = false;
  std::int32_t status = 0;  ///< 0 lent, 1 borrowed, 2 rented out, 3 rented, 4 bought, 5 sold,
                            ///< 6 on the way, 7 favorite
  bool fullDetail = true;   ///< read prices, languages, reviews, tracks, offers, custom fields too
  std::u16string ASIN;      ///< the shop's item identifier
  std::u16string Title;
  std::u16string NumberOfDiscs;
  std::u16string Binding;
  std::u16string Publisher;
  std::u16string ReleaseDate;
  std::u16string ProductGroup;
  std::u16string DetailPageURL;
  bool hasUPC = false;
  std::u16string UPC;
  bool hasEAN = false;
  std::u16string EAN;
  std::u16string LargeImage;   ///< address
  std::u16string SmallImage;   ///< address
  std::u16string MediumImage;  ///< address
  bool hasDescription = false;
  std::u16string description;  ///< HTML, one paragraph per editorial review
  std::u16string AspectRatio;
  bool hasDVDLayers = false;
  std::u16string DVDLayers;
  bool hasDVDSides = false;
  std::u16string DVDSides;
  std::u16string PictureFormat;
  bool hasRegionCode = false;
  std::u16string RegionCode;
  std::u16string RunningTime;
  std::u16string Studio;
  bool hasTheatricalReleaseDate = false;
  std::u16string TheatricalReleaseDate;
  std::u16string AudienceRating;
  bool hasActors = false;
  Strings actors;
  bool hasDirectors = false;
  Strings directors;
  bool hasFormats = false;
  Strings formats;
  bool hasLanguages = false;
  Strings languages;  ///< "name (type)"
  std::u16string PublicationDate;
  std::u16string NumberOfPages;
  std::u16string OriginalTitle;
  bool hasAuthors = false;
  Strings authors;
  bool hasTranslators = false;
  Strings translators;
  std::u16string ISBN;
  std::u16string Label;
  std::u16string NumberOfTracks;
  bool hasArtists = false;
  Strings artists;
  bool hasDiscs = false;
  std::vector<Strings> discs;  ///< per disc its track titles
  std::u16string ESRBAgeRating;
  bool hasFeatures = false;
  Strings features;
  bool hasPlatforms = false;
  Strings platforms;
  std::u16string AverageRating;
  std::u16string TotalReviews;
  Strings reviewRatings;  ///< the three review lists have the same length
  Strings reviewSummaries;
  Strings reviewContents;
  bool hasCoverImage = false;
  fipWinImage coverImage;              ///< in memory only
  std::vector<bool> customFieldFlags;  ///< its length is the number of slots: 7 after construction
  Strings customFieldNames;            ///< one per slot
  Strings customFieldValues;           ///< one per slot
  std::vector<COffer> offers;
  COfferListing offerListing;
  std::uint16_t DateAdded = 0;
  std::u16string ListPrice;
  std::u16string LowestNewPrice;
  std::u16string TotalNew;
  std::u16string LowestUsedPrice;
  std::u16string TotalUsed;
  bool hasNotes = false;
  std::u16string Notes;
  std::u16string StatusTarget;  ///< lent to, borrowed from, bought from whom
  std::uint16_t StatusBeginDate = 0;
  std::uint16_t StatusEndDate = 0;  ///< due date
  std::vector<CFolderInfo> folders;
  std::int32_t copies = 1;   ///< how many of it there are, 1 or more
  std::vector<CLoan> loans;  ///< those that ended, oldest first, and open ones besides the status
  std::vector<CLinkedFile> files;  ///< no two have the same path

  /// An empty record with seven empty custom-field slots.
  CRecord();
  CRecord(const CRecord&);
  CRecord& operator=(const CRecord&);
  // The picture class does not promise it, but its copy does not throw: a set that grows moves its
  // records instead of copying them.
  CRecord(CRecord&&) noexcept;
  CRecord& operator=(CRecord&&) noexcept;
  ~CRecord();

  /// Reads the first readable item of a document: a "Details" below the root, or an "Item" below
  /// the root's "Items". False when there is none.
  bool fromXml(TiXmlDocument* document) override;
  /// Reads an "Item" (version 4) or a "Details" (version 3) element; false for any other name.
  bool fromXmlNode(TiXmlElement* item);
  /// Reads an item element in the dialect of `version`: 3 for the older one, else the current one.
  /// A field that the element does not give keeps its value. Ends with `postProcess` and returns
  /// true; false only for an unreadable pointer.
  bool fromXmlNodeVersion(TiXmlElement* item, int version);

  // The readers below take one child element of an item. Each returns false, the record unchanged,
  // when the element is not its own, and true when it has read it.

  /// Reads the attributes "icon" and "status"; each flag becomes whether its attribute is a number.
  void parseSharedInfo(TiXmlElement* item);
  /// Puts the element's text into `fields[i]` when its name is the i-th single-valued attribute and
  /// i is below `count` (at most 25). `fields` holds `count` strings.
  bool parseItemAttributesSingle(TiXmlElement* element, unsigned count, std::u16string* fields);
  /// Appends the element's text to `lists[i]` when its name is the i-th multi-valued attribute and
  /// i is below `count` (at most 8). `lists` holds `count` lists.
  bool parseItemAttributesMulti(TiXmlElement* element, unsigned count, Strings* lists);
  bool parseEditorialReviews(TiXmlElement* element);
  bool parseDiscTrack(TiXmlElement* element);
  bool parseOfferSummary(TiXmlElement* element);
  bool parseCustomFields(TiXmlElement* element);
  bool parseLanguages(TiXmlElement* element);
  bool parseCustomerReviews(TiXmlElement* element, int version);
  /// With `allOffers` false reads only the first offer's listing, into `offerListing`, and
  /// `maxOffers` plays no part. With `allOffers` true appends up to `maxOffers` offers to `offers`;
  /// the first one's listing becomes the record's.
  bool parseOffers(TiXmlElement* element, bool allOffers, int maxOffers);
  /// Puts the text of the first child "FormattedPrice" into `out`; false when there is none.
  bool parseFormattedPrice(TiXmlElement* element, std::u16string& out);

  /// Before saving: empties every optional field whose flag is false.
  void preProcess();
  /// After reading: brings the flags in step with the fields, counts the discs when their number is
  /// not given, repairs texts that were decoded twice, and shortens currency marks in the prices.
  void postProcess();

  /// Writes the attributes "icon" and "status", each when its flag is set.
  void composeSharedInfo(TiXmlElement* item);
  /// Fills an empty "Item" element. Empty texts are left out, their containers are not.
  void composeItemNode(TiXmlElement* item);
  /// Appends "Folders", with one "Folder" per folder entry.
  void composeExtraNode(TiXmlElement* parent);
  void composeFolderNode(TiXmlElement* folders);
  /// Appends "Items" with one "Item". False for an unreadable pointer.
  bool toXmlNode(TiXmlElement* parent);
  /// Makes `document` the record's document, with the root "ProductInfo". False, and the document
  /// empty, on failure.
  bool toXml(TiXmlDocument* document) override;

  /// Sets `out` to the sentence that tells the item's status; empty without one. Returns true.
  bool getStatusString(std::u16string& out);
  /// 1 when the item is due (its end date is less than one day ahead, or past), 2 when it is due
  /// soon (one to two days ahead), else 0. Only lent, borrowed and rented items fall due. Days are
  /// UTC.
  int getDueStates();
  /// Sets `out` to "title / group / publisher", with the studio where there is no publisher. Empty
  /// parts are not skipped. Returns true.
  bool getDigestString(std::u16string& out);
};

namespace tessaron {

/// The due state (as `CRecord::getDueStates`) of `record` at the UTC time `now`.
TESSARON_API int dueStateAt(const CRecord& record, const SYSTEMTIME& now);

/// The name of a status, such as "Rented Out"; empty for a number that names none.
TESSARON_API std::u16string_view statusLabel(std::int32_t status);

/// The sentence of `CRecord::getStatusString`; empty without a status.
TESSARON_API std::u16string statusText(const CRecord& record);

}  // namespace tessaron
