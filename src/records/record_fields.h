#pragma once
// The fields of a record: a row of kFields each. Reader, writer, JSON, tables for programs, the
// page, and the tests' samples go by the rows; the tables below them are made of them.

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "records/field_text.h"
#include "records/record.h"
#include "support/name_table.h"

namespace tessaron {

using TextMember = std::u16string CRecord::*;
using ListMember = CRecord::Strings CRecord::*;
using FlagMember = bool CRecord::*;
using DateMember = std::uint16_t CRecord::*;
using DiscsMember = std::vector<CRecord::Strings> CRecord::*;
using OffersMember = std::vector<COffer> CRecord::*;
using ListingMember = COfferListing CRecord::*;
using FoldersMember = std::vector<CFolderInfo> CRecord::*;
using CountMember = std::int32_t CRecord::*;
using LoansMember = std::vector<CLoan> CRecord::*;
using FilesMember = std::vector<CLinkedFile> CRecord::*;

/// Fields of several members.
enum class CompositeField {
  Icon,          ///< hasIcon, icon
  Status,        ///< hasStatus, status, StatusTarget, StatusBeginDate, StatusEndDate
  CustomFields,  ///< customFieldNames, customFieldValues
};

using FieldMember =
    std::variant<TextMember, ListMember, DateMember, DiscsMember, OffersMember, ListingMember,
                 FoldersMember, CountMember, LoansMember, FilesMember, CompositeField>;

/// Where the element that holds a field is placed in an "Item".
enum class XmlPlace {
  Composite,      ///< in a structure of its own that reader and writer know
  Item,           ///< a text directly in the item
  ItemDate,       ///< an MS-DOS date directly in the item
  Image,          ///< an address, in the child "URL" of an element of the item
  Attribute,      ///< a text in "ItemAttributes"
  AttributeList,  ///< an element in "ItemAttributes" per entry
};

struct Field {
  struct Xml {
    XmlPlace place = XmlPlace::Composite;
    std::size_t order = 0;          ///< among the elements of this place in a file
    std::string_view element = {};  ///< the element's name; empty: the field's
  };
  struct Page {
    std::size_t order = 0;
    std::string_view label = {};  ///< empty: not among the facts of the page
  };

  std::string_view name;  ///< the member's; the key in JSON
  FieldMember member;
  TextRule rule = TextRule::Prose;
  FlagMember flag = nullptr;    ///< the presence flag that `postProcess` keeps in step
  Xml xml = {};                 ///< in the current dialect
  std::string_view older = {};  ///< the element in a "Details" of the older dialect; empty: none
  Page page = {};               ///< among the facts that the page lists
  bool isPart = false;          ///< part of another field, not listed under its own name
  ValueKind kind = ValueKind::Text;
  std::string_view shortName = {};  ///< as people call it on a command line; empty: the name

  constexpr std::string_view element() const { return xml.element.empty() ? name : xml.element; }
};

/// All fields, in the order of the record's members.
inline constexpr auto kFields = [] {
  using enum XmlPlace;
  using R = CRecord;
  constexpr TextRule kValue = TextRule::Value;
  constexpr ValueKind kNumber = ValueKind::Number;
  constexpr ValueKind kDate = ValueKind::Date;
  constexpr ValueKind kPrice = ValueKind::Price;
  // clang-format off
  return std::to_array<Field>({
      {.name = "icon", .member = CompositeField::Icon, .kind = kNumber},
      {.name = "status", .member = CompositeField::Status},
      {.name = "ASIN", .member = &R::ASIN, .rule = kValue, .xml = {Item, 0}, .older = "Asin"},
      {.name = "Title", .member = &R::Title, .xml = {Attribute, 21}, .older = "ProductName"},
      {.name = "NumberOfDiscs", .member = &R::NumberOfDiscs, .rule = kValue, .xml = {Attribute, 8},
       .older = "NumMedia", .page = {16, "Discs"}, .kind = kNumber, .shortName = "media"},
      // Where both stand in a file, "NumberOfDiscs" counts and not this one.
      {.name = "NumberOfItems", .member = TextMember(), .rule = kValue, .xml = {Attribute, 9},
       .isPart = true},
      {.name = "Binding", .member = &R::Binding, .xml = {Attribute, 2}, .older = "Media",
       .page = {12, "Binding"}},
      {.name = "Publisher", .member = &R::Publisher, .xml = {Attribute, 15},
       .older = "Manufacturer", .page = {6, "Publisher"}},
      {.name = "ReleaseDate", .member = &R::ReleaseDate, .rule = kValue, .xml = {Attribute, 17},
       .older = "ReleaseDate", .page = {10, "Released"}, .kind = kDate, .shortName = "released"},
      {.name = "ProductGroup", .member = &R::ProductGroup, .xml = {Attribute, 13},
       .older = "Catalog", .shortName = "group"},
      {.name = "DetailPageURL", .member = &R::DetailPageURL, .rule = kValue, .xml = {Item, 1},
       .shortName = "url"},
      {.name = "UPC", .member = &R::UPC, .rule = kValue, .flag = &R::hasUPC,
       .xml = {Attribute, 22}, .older = "Upc", .page = {29, "UPC"}},
      {.name = "EAN", .member = &R::EAN, .rule = kValue, .flag = &R::hasEAN, .xml = {Attribute, 5},
       .page = {28, "EAN"}},
      {.name = "LargeImage", .member = &R::LargeImage, .rule = kValue, .xml = {Image, 2},
       .older = "ImageUrlLarge", .shortName = "cover"},
      {.name = "SmallImage", .member = &R::SmallImage, .rule = kValue, .xml = {Image, 0}},
      {.name = "MediumImage", .member = &R::MediumImage, .rule = kValue, .xml = {Image, 1}},
      {.name = "description", .member = &R::description, .flag = &R::hasDescription,
       .older = "ProductDescription"},
      {.name = "AspectRatio", .member = &R::AspectRatio, .xml = {Attribute, 0},
       .page = {24, "Aspect ratio"}},
      {.name = "DVDLayers", .member = &R::DVDLayers, .rule = kValue, .flag = &R::hasDVDLayers,
       .xml = {Attribute, 3}, .page = {25, "Layers"}, .kind = kNumber},
      {.name = "DVDSides", .member = &R::DVDSides, .rule = kValue, .flag = &R::hasDVDSides,
       .xml = {Attribute, 4}, .page = {26, "Sides"}, .kind = kNumber},
      {.name = "PictureFormat", .member = &R::PictureFormat, .xml = {Attribute, 12},
       .page = {23, "Picture"}},
      {.name = "RegionCode", .member = &R::RegionCode, .rule = kValue, .flag = &R::hasRegionCode,
       .xml = {Attribute, 16}, .page = {22, "Region"}, .shortName = "region"},
      {.name = "RunningTime", .member = &R::RunningTime, .rule = kValue, .xml = {Attribute, 18},
       .page = {18, "Running time"}, .kind = kNumber, .shortName = "length"},
      {.name = "Studio", .member = &R::Studio, .xml = {Attribute, 19}, .page = {7, "Studio"}},
      {.name = "TheatricalReleaseDate", .member = &R::TheatricalReleaseDate, .rule = kValue,
       .flag = &R::hasTheatricalReleaseDate, .xml = {Attribute, 20},
       .older = "TheatricalReleaseDate", .page = {11, "In cinemas"}, .kind = kDate,
       .shortName = "premiere"},
      {.name = "AudienceRating", .member = &R::AudienceRating, .xml = {Attribute, 1},
       .older = "MpaaRating", .page = {20, "Audience"}, .shortName = "audience"},
      {.name = "actors", .member = &R::actors, .flag = &R::hasActors,
       .xml = {AttributeList, 0, "Actor"}, .older = "Starring", .page = {5, "Actors"},
       .shortName = "actor"},
      {.name = "directors", .member = &R::directors, .flag = &R::hasDirectors,
       .xml = {AttributeList, 3, "Director"}, .older = "Directors", .page = {4, "Directors"},
       .shortName = "director"},
      // QUIRK: the older dialect's "Features" fill the formats. The current dialect has features of
      // its own. Kept: collections read from older responses show them there.
      {.name = "formats", .member = &R::formats, .flag = &R::hasFormats,
       .xml = {AttributeList, 4, "Format"}, .older = "Features", .page = {13, "Formats"},
       .shortName = "format"},
      {.name = "languages", .member = &R::languages, .flag = &R::hasLanguages,
       .page = {19, "Languages"}, .shortName = "language"},
      {.name = "PublicationDate", .member = &R::PublicationDate, .rule = kValue,
       .xml = {Attribute, 14}, .page = {9, "Published"}, .kind = kDate, .shortName = "published"},
      {.name = "NumberOfPages", .member = &R::NumberOfPages, .rule = kValue,
       .xml = {Attribute, 10}, .page = {15, "Pages"}, .kind = kNumber, .shortName = "pages"},
      {.name = "OriginalTitle", .member = &R::OriginalTitle, .xml = {Attribute, 23},
       .page = {0, "Original title"}, .shortName = "original"},
      {.name = "authors", .member = &R::authors, .flag = &R::hasAuthors,
       .xml = {AttributeList, 2, "Author"}, .older = "Authors", .page = {1, "Authors"},
       .shortName = "author"},
      {.name = "translators", .member = &R::translators, .flag = &R::hasTranslators,
       .xml = {AttributeList, 5, "Translator"}, .page = {2, "Translators"},
       .shortName = "translator"},
      {.name = "ISBN", .member = &R::ISBN, .rule = kValue, .xml = {Attribute, 6}, .older = "Isbn",
       .page = {27, "ISBN"}},
      {.name = "Label", .member = &R::Label, .xml = {Attribute, 7}, .page = {8, "Label"}},
      {.name = "NumberOfTracks", .member = &R::NumberOfTracks, .rule = kValue,
       .xml = {Attribute, 11}, .page = {17, "Tracks"}, .kind = kNumber, .shortName = "tracks"},
      {.name = "artists", .member = &R::artists, .flag = &R::hasArtists,
       .xml = {AttributeList, 1, "Artist"}, .older = "Artists", .page = {3, "Artists"},
       .shortName = "artist"},
      {.name = "discs", .member = &R::discs, .flag = &R::hasDiscs, .older = "Tracks",
       .shortName = "track"},
      {.name = "ESRBAgeRating", .member = &R::ESRBAgeRating, .xml = {Attribute, 24},
       .page = {21, "Age rating"}, .shortName = "age"},
      {.name = "features", .member = &R::features, .flag = &R::hasFeatures,
       .xml = {AttributeList, 6, "Feature"}, .shortName = "feature"},
      {.name = "platforms", .member = &R::platforms, .flag = &R::hasPlatforms,
       .xml = {AttributeList, 7, "Platform"}, .page = {14, "Platforms"}, .shortName = "platform"},
      {.name = "AverageRating", .member = &R::AverageRating, .rule = kValue, .kind = kNumber,
       .shortName = "rating"},
      {.name = "TotalReviews", .member = &R::TotalReviews, .rule = kValue, .kind = kNumber,
       .shortName = "reviews"},
      {.name = "reviewRatings", .member = &R::reviewRatings, .rule = kValue, .kind = kNumber},
      {.name = "reviewSummaries", .member = &R::reviewSummaries},
      {.name = "reviewContents", .member = &R::reviewContents},
      {.name = "customFields", .member = CompositeField::CustomFields, .shortName = "custom"},
      {.name = "offers", .member = &R::offers},
      {.name = "offerListing", .member = &R::offerListing},
      {.name = "DateAdded", .member = &R::DateAdded, .rule = kValue, .xml = {ItemDate, 0},
       .kind = kDate, .shortName = "added"},
      {.name = "ListPrice", .member = &R::ListPrice, .rule = kValue, .older = "ListPrice",
       .kind = kPrice, .shortName = "price"},
      {.name = "LowestNewPrice", .member = &R::LowestNewPrice, .rule = kValue, .kind = kPrice,
       .shortName = "new"},
      {.name = "TotalNew", .member = &R::TotalNew, .rule = kValue, .kind = kNumber},
      {.name = "LowestUsedPrice", .member = &R::LowestUsedPrice, .rule = kValue,
       .older = "UsedPrice", .kind = kPrice, .shortName = "used"},
      {.name = "TotalUsed", .member = &R::TotalUsed, .rule = kValue, .kind = kNumber},
      {.name = "Notes", .member = &R::Notes, .flag = &R::hasNotes, .xml = {Item, 2},
       .older = "Notes", .shortName = "note"},
      {.name = "StatusTarget", .member = &R::StatusTarget, .xml = {Item, 3}, .isPart = true},
      {.name = "StatusBeginDate", .member = &R::StatusBeginDate, .rule = kValue,
       .xml = {ItemDate, 1}, .isPart = true},
      {.name = "StatusEndDate", .member = &R::StatusEndDate, .rule = kValue, .xml = {ItemDate, 2},
       .isPart = true},
      {.name = "folders", .member = &R::folders},
      {.name = "copies", .member = &R::copies, .rule = kValue, .kind = kNumber},
      {.name = "loans", .member = &R::loans},
      {.name = "files", .member = &R::files},
  });
  // clang-format on
}();

/// A member with its element's name.
template <typename Member>
struct NamedMember {
  std::string_view name;
  Member member;  ///< null for an element whose content goes elsewhere
  TextRule rule = TextRule::Prose;
};

/// The members whose elements stand at `place`, in file order. Does not compile unless the rows of
/// that place are numbered from 0 to N - 1.
template <typename Member, std::size_t N>
constexpr std::array<NamedMember<Member>, N> membersAt(XmlPlace place) {
  std::array<NamedMember<Member>, N> members{};
  std::size_t count = 0;
  for (const Field& field : kFields) {
    if (field.xml.place != place) continue;
    members[field.xml.order] = {field.element(), std::get<Member>(field.member), field.rule};
    ++count;
  }
  if (count != N) throw "the table has another number of rows";
  return members;
}

/// The members that the older dialect has under the types `Members`, by its names; null for those
/// that are no `Member`. Does not compile unless there are N of them.
template <typename Member, std::size_t N, typename... Others>
constexpr std::array<NamedMember<Member>, N> olderMembers() {
  std::array<NamedMember<Member>, N> members{};
  std::size_t count = 0;
  for (const Field& field : kFields) {
    // Not std::get_if, which is no constant expression with UndefinedBehaviorSanitizer.
    const bool isMember = std::holds_alternative<Member>(field.member);
    if (field.older.empty() || !(isMember || (std::holds_alternative<Others>(field.member) || ...)))
      continue;
    members[count++] = {field.older, isMember ? std::get<Member>(field.member) : nullptr,
                        field.rule};
  }
  if (count != N) throw "the table has another number of rows";
  return members;
}

/// The names of a table of members, as a hash. Does not compile when a name occurs twice in it.
template <typename Member, std::size_t N>
constexpr NameTable<N> namesOf(const std::array<NamedMember<Member>, N>& table) {
  std::array<std::string_view, N> names{};
  for (std::size_t i = 0; i < N; ++i) names[i] = table[i].name;
  return NameTable<N>(names);
}

/// Texts and dates directly below an item.
inline constexpr auto kItemTexts = membersAt<TextMember, 4>(XmlPlace::Item);
inline constexpr auto kItemDates = membersAt<DateMember, 3>(XmlPlace::ItemDate);

/// Elements that hold an address in a child "URL".
inline constexpr auto kImages = membersAt<TextMember, 3>(XmlPlace::Image);

/// Single-valued attributes. Their numbers are part of the interface of
/// `CRecord::parseItemAttributesSingle`.
inline constexpr auto kSingleAttributes = membersAt<TextMember, 25>(XmlPlace::Attribute);
inline constexpr NameTable kSingleAttributeNames = namesOf(kSingleAttributes);
inline constexpr std::size_t kNumberOfDiscs = kSingleAttributeNames.find("NumberOfDiscs");
inline constexpr std::size_t kNumberOfItems = kSingleAttributeNames.find("NumberOfItems");
static_assert(kNumberOfItems == kNumberOfDiscs + 1);

/// Multi-valued attributes. Their numbers are part of the interface of
/// `CRecord::parseItemAttributesMulti`.
inline constexpr auto kListAttributes = membersAt<ListMember, 8>(XmlPlace::AttributeList);
inline constexpr NameTable kListAttributeNames = namesOf(kListAttributes);

/// Texts directly below a "Details" of the older dialect.
inline constexpr auto kDetailsTexts = olderMembers<TextMember, 16>();

/// Lists of the older dialect: elements whose children are the entries. Null: "Tracks", the tracks
/// of the only disc.
inline constexpr auto kDetailsLists = olderMembers<ListMember, 6, DiscsMember>();

}  // namespace tessaron
