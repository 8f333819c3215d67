#pragma once
// The names and orders that the reader and the writer of items share.

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "records/field_text.h"
#include "records/record.h"
#include "support/name_table.h"

namespace tessaron {

using TextMember = std::u16string CRecord::*;
using ListMember = CRecord::Strings CRecord::*;
using FlagMember = bool CRecord::*;
using DateMember = std::uint16_t CRecord::*;

template <typename Member>
struct NamedMember {
  std::string_view name;
  Member member;  ///< null for a name whose text is read and not kept in a member of its own
  TextRule rule = TextRule::Prose;
};

/// The names of a table of members, as a hash.
template <typename Member, std::size_t N>
constexpr NameTable<N> namesOf(const std::array<NamedMember<Member>, N>& table) {
  std::array<std::string_view, N> names{};
  for (std::size_t i = 0; i < N; ++i) names[i] = table[i].name;
  return NameTable<N>(names);
}

/// Texts and dates directly below an item, in file order.
inline constexpr auto kItemTexts = std::to_array<NamedMember<TextMember>>({
    {"ASIN", &CRecord::ASIN, TextRule::Value},
    {"DetailPageURL", &CRecord::DetailPageURL, TextRule::Value},
    {"Notes", &CRecord::Notes},
    {"StatusTarget", &CRecord::StatusTarget},
});
inline constexpr auto kItemDates = std::to_array<NamedMember<DateMember>>({
    {"DateAdded", &CRecord::DateAdded},
    {"StatusBeginDate", &CRecord::StatusBeginDate},
    {"StatusEndDate", &CRecord::StatusEndDate},
});

/// Elements that hold an address in a child "URL".
inline constexpr auto kImages = std::to_array<NamedMember<TextMember>>({
    {"SmallImage", &CRecord::SmallImage, TextRule::Value},
    {"MediumImage", &CRecord::MediumImage, TextRule::Value},
    {"LargeImage", &CRecord::LargeImage, TextRule::Value},
});

/// Single-valued attributes. Where both stand in a file, "NumberOfDiscs" goes before
/// "NumberOfItems".
inline constexpr auto kSingleAttributes = std::to_array<NamedMember<TextMember>>({
    {"AspectRatio", &CRecord::AspectRatio},
    {"AudienceRating", &CRecord::AudienceRating},
    {"Binding", &CRecord::Binding},
    {"DVDLayers", &CRecord::DVDLayers, TextRule::Value},
    {"DVDSides", &CRecord::DVDSides, TextRule::Value},
    {"EAN", &CRecord::EAN, TextRule::Value},
    {"ISBN", &CRecord::ISBN, TextRule::Value},
    {"Label", &CRecord::Label},
    {"NumberOfDiscs", &CRecord::NumberOfDiscs, TextRule::Value},
    {"NumberOfItems", nullptr, TextRule::Value},
    {"NumberOfPages", &CRecord::NumberOfPages, TextRule::Value},
    {"NumberOfTracks", &CRecord::NumberOfTracks, TextRule::Value},
    {"PictureFormat", &CRecord::PictureFormat},
    {"ProductGroup", &CRecord::ProductGroup},
    {"PublicationDate", &CRecord::PublicationDate, TextRule::Value},
    {"Publisher", &CRecord::Publisher},
    {"RegionCode", &CRecord::RegionCode, TextRule::Value},
    {"ReleaseDate", &CRecord::ReleaseDate, TextRule::Value},
    {"RunningTime", &CRecord::RunningTime, TextRule::Value},
    {"Studio", &CRecord::Studio},
    {"TheatricalReleaseDate", &CRecord::TheatricalReleaseDate, TextRule::Value},
    {"Title", &CRecord::Title},
    {"UPC", &CRecord::UPC, TextRule::Value},
    {"OriginalTitle", &CRecord::OriginalTitle},
    {"ESRBAgeRating", &CRecord::ESRBAgeRating},
});
inline constexpr NameTable kSingleAttributeNames = namesOf(kSingleAttributes);
inline constexpr std::size_t kNumberOfDiscs = kSingleAttributeNames.find("NumberOfDiscs");
inline constexpr std::size_t kNumberOfItems = kSingleAttributeNames.find("NumberOfItems");
static_assert(kSingleAttributes.size() == 25 && kNumberOfItems == kNumberOfDiscs + 1);

/// Multi-valued attributes: one element per entry.
inline constexpr auto kListAttributes = std::to_array<NamedMember<ListMember>>({
    {"Actor", &CRecord::actors},
    {"Artist", &CRecord::artists},
    {"Author", &CRecord::authors},
    {"Director", &CRecord::directors},
    {"Format", &CRecord::formats},
    {"Translator", &CRecord::translators},
    {"Feature", &CRecord::features},
    {"Platform", &CRecord::platforms},
});
inline constexpr NameTable kListAttributeNames = namesOf(kListAttributes);
static_assert(kListAttributes.size() == 8);

/// Texts directly below a "Details" of the older dialect.
inline constexpr auto kDetailsTexts = std::to_array<NamedMember<TextMember>>({
    {"ProductName", &CRecord::Title},
    {"Asin", &CRecord::ASIN, TextRule::Value},
    {"Media", &CRecord::Binding},
    {"NumMedia", &CRecord::NumberOfDiscs, TextRule::Value},
    {"ReleaseDate", &CRecord::ReleaseDate, TextRule::Value},
    {"Manufacturer", &CRecord::Publisher},
    {"TheatricalReleaseDate", &CRecord::TheatricalReleaseDate, TextRule::Value},
    {"ImageUrlLarge", &CRecord::LargeImage, TextRule::Value},
    {"ListPrice", &CRecord::ListPrice, TextRule::Value},
    {"Catalog", &CRecord::ProductGroup},
    {"Isbn", &CRecord::ISBN, TextRule::Value},
    {"MpaaRating", &CRecord::AudienceRating},
    {"ProductDescription", &CRecord::description},
    {"Notes", &CRecord::Notes},
    {"Upc", &CRecord::UPC, TextRule::Value},
    {"OurPrice", nullptr, TextRule::Value},
    {"UsedPrice", &CRecord::LowestUsedPrice, TextRule::Value},
    {"Availability", nullptr},
});

/// Lists of the older dialect: elements whose children are the entries.
/// QUIRK: "Features" fills the formats. The current dialect has features of its own. Kept:
/// collections read from older responses show them there.
inline constexpr auto kDetailsLists = std::to_array<NamedMember<ListMember>>({
    {"Authors", &CRecord::authors},
    {"Artists", &CRecord::artists},
    {"Starring", &CRecord::actors},
    {"Directors", &CRecord::directors},
    {"Tracks", nullptr},  // the only disc
    {"Features", &CRecord::formats},
});

/// Fields with a presence flag that `preProcess` and `postProcess` keep in step.
struct FlaggedText {
  FlagMember flag;
  TextMember text;
};
inline constexpr auto kFlaggedTexts = std::to_array<FlaggedText>({
    {&CRecord::hasTheatricalReleaseDate, &CRecord::TheatricalReleaseDate},
    {&CRecord::hasDescription, &CRecord::description},
    {&CRecord::hasNotes, &CRecord::Notes},
    {&CRecord::hasUPC, &CRecord::UPC},
    {&CRecord::hasEAN, &CRecord::EAN},
    {&CRecord::hasDVDLayers, &CRecord::DVDLayers},
    {&CRecord::hasDVDSides, &CRecord::DVDSides},
    {&CRecord::hasRegionCode, &CRecord::RegionCode},
});
struct FlaggedList {
  FlagMember flag;
  ListMember list;
};
inline constexpr auto kFlaggedLists = std::to_array<FlaggedList>({
    {&CRecord::hasAuthors, &CRecord::authors},
    {&CRecord::hasTranslators, &CRecord::translators},
    {&CRecord::hasArtists, &CRecord::artists},
    {&CRecord::hasActors, &CRecord::actors},
    {&CRecord::hasDirectors, &CRecord::directors},
    {&CRecord::hasFormats, &CRecord::formats},
    {&CRecord::hasLanguages, &CRecord::languages},
    {&CRecord::hasFeatures, &CRecord::features},
    {&CRecord::hasPlatforms, &CRecord::platforms},
});

}  // namespace tessaron
