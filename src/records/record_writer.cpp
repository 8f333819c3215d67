#include <algorithm>
#include <string>

#include "platform/system.h"
#include "records/field_text.h"
#include "records/record.h"
#include "records/record_tables.h"
#include "support/xml/xml.h"

namespace {

using tessaron::appendElement;
using tessaron::TextRule;

// The names in our tables are literals, and so end with a NUL.
const char* literal(std::string_view name) { return name.data(); }

// An empty text is not written at all.
void writeText(TiXmlElement& parent, std::string_view name, std::u16string_view text,
               TextRule rule = TextRule::Prose) {
  if (!text.empty()) tessaron::appendField(parent, literal(name), text, rule);
}
void writeValue(TiXmlElement& parent, std::string_view name, std::u16string_view value) {
  writeText(parent, name, value, TextRule::Value);
}

void writePrice(TiXmlElement& parent, const char* name, std::u16string_view value) {
  writeValue(*appendElement(parent, name), "FormattedPrice", value);
}

void writeOffer(TiXmlElement& parent, const COffer& offer) {
  TiXmlElement& element = *appendElement(parent, "Offer");
  TiXmlElement& seller = *appendElement(element, "Seller");
  TiXmlElement& location = *appendElement(seller, "Location");
  writeText(location, "State", offer.State);
  writeText(location, "Country", offer.Country);
  writeValue(seller, "SellerId", offer.SellerId);
  writeText(seller, "Nickname", offer.Nickname);
  TiXmlElement& attributes = *appendElement(element, "OfferAttributes");
  writeText(attributes, "Condition", offer.Condition);
  writeText(attributes, "ConditionNote", offer.ConditionNote);
  TiXmlElement& listing = *appendElement(element, "OfferListing");
  writeValue(listing, "OfferListingId", offer.OfferListingId);
  writePrice(listing, "Price", offer.Price);
  writeText(listing, "Availability", offer.Availability);
}

void writeAttributes(TiXmlElement& item, const CRecord& record) {
  TiXmlElement& attributes = *appendElement(item, "ItemAttributes");
  for (std::size_t i = 0; i < tessaron::kSingleAttributes.size(); ++i) {
    // QUIRK: the number of discs is written as "NumberOfItems". It is read from "NumberOfDiscs"
    // first. Kept: the service names it so for most products, and readers take either.
    if (i == tessaron::kNumberOfDiscs) continue;
    const auto& [name, member, rule] = tessaron::kSingleAttributes[i];
    writeText(attributes, name,
              record.*(i == tessaron::kNumberOfItems ? &CRecord::NumberOfDiscs : member), rule);
  }
  for (const auto& [name, member, rule] : tessaron::kListAttributes) {
    for (const std::u16string& entry : record.*member) writeText(attributes, name, entry, rule);
  }
  writePrice(attributes, "ListPrice", record.ListPrice);
  TiXmlElement& languages = *appendElement(attributes, "Languages");
  for (const std::u16string& language : record.languages) {
    writeText(*appendElement(languages, "Language"), "Name", language);
  }
}

void writeOffers(TiXmlElement& item, const CRecord& record) {
  TiXmlElement& summary = *appendElement(item, "OfferSummary");
  writePrice(summary, "LowestNewPrice", record.LowestNewPrice);
  writePrice(summary, "LowestUsedPrice", record.LowestUsedPrice);
  writeValue(summary, "TotalNew", record.TotalNew);
  writeValue(summary, "TotalUsed", record.TotalUsed);

  TiXmlElement& offers = *appendElement(item, "Offers");
  TiXmlElement& listing = *appendElement(*appendElement(offers, "Offer"), "OfferListing");
  writeValue(listing, "OfferListingId", record.offerListing.OfferListingId);
  writeText(listing, "Availability", record.offerListing.Availability);
  writePrice(listing, "Price", record.offerListing.Price);
  for (const COffer& offer : record.offers) writeOffer(offers, offer);
}

void writeReviews(TiXmlElement& item, const CRecord& record) {
  TiXmlElement& reviews = *appendElement(item, "CustomerReviews");
  writeValue(reviews, "AverageRating", record.AverageRating);
  writeValue(reviews, "TotalReviews", record.TotalReviews);
  const std::size_t count = std::min(
      {record.reviewRatings.size(), record.reviewSummaries.size(), record.reviewContents.size()});
  for (std::size_t i = 0; i < count; ++i) {
    TiXmlElement& review = *appendElement(reviews, "Review");
    writeValue(review, "Rating", record.reviewRatings[i]);
    writeText(review, "Summary", record.reviewSummaries[i]);
    writeText(review, "Content", record.reviewContents[i]);
  }
}

void writeTracks(TiXmlElement& item, const CRecord& record) {
  TiXmlElement& tracks = *appendElement(item, "Tracks");
  for (const CRecord::Strings& titles : record.discs) {
    TiXmlElement& disc = *appendElement(tracks, "Disc");
    for (const std::u16string& title : titles) writeText(disc, "Track", title);
  }
}

void writeCustomFields(TiXmlElement& item, const CRecord& record) {
  TiXmlElement& fields = *appendElement(item, "CustomFields");
  const std::size_t count =
      std::min(record.customFieldNames.size(), record.customFieldValues.size());
  for (std::size_t i = 0; i < count; ++i) {
    TiXmlElement& field = *appendElement(fields, "CustomField");
    tessaron::setAttribute(field, "name", record.customFieldNames[i]);
    tessaron::setAttribute(field, "value", record.customFieldValues[i]);
  }
}

}  // namespace

void CRecord::composeSharedInfo(TiXmlElement* item) {
  if (!tessaron::isReadable(item)) return;
  if (hasIcon) item->SetAttribute("icon", icon);
  if (hasStatus) item->SetAttribute("status", status);
}

void CRecord::composeItemNode(TiXmlElement* item) {
  if (!tessaron::isReadable(item)) return;
  composeSharedInfo(item);
  for (const auto& [name, member, rule] : tessaron::kItemTexts) {
    writeText(*item, name, this->*member, rule);
  }
  for (const auto& [name, member, rule] : tessaron::kItemDates) {
    if (const std::uint16_t date = this->*member) {
      item->LinkEndChild(new TiXmlElement(literal(name)))
          ->LinkEndChild(new TiXmlText(std::to_string(date)));
    }
  }
  for (const auto& [name, member, rule] : tessaron::kImages) {
    writeValue(*appendElement(*item, literal(name)), "URL", this->*member);
  }
  writeAttributes(*item, *this);
  TiXmlElement& reviews = *appendElement(*item, "EditorialReviews");
  if (!description.empty()) tessaron::appendText(reviews, "EditorialReview", description);
  writeOffers(*item, *this);
  writeReviews(*item, *this);
  writeTracks(*item, *this);
  writeCustomFields(*item, *this);
  composeExtraNode(appendElement(*item, "Tessaron"));
}

void CRecord::composeExtraNode(TiXmlElement* parent) {
  if (tessaron::isReadable(parent)) composeFolderNode(appendElement(*parent, "Folders"));
}

void CRecord::composeFolderNode(TiXmlElement* parent) {
  if (!tessaron::isReadable(parent)) return;
  for (CFolderInfo& folder : folders) folder.toElem(appendElement(*parent, "Folder"));
}

bool CRecord::toXmlNode(TiXmlElement* parent) {
  if (!tessaron::isReadable(parent)) return false;
  composeItemNode(appendElement(*appendElement(*parent, "Items"), "Item"));
  return true;
}

bool CRecord::toXml(TiXmlDocument* document) {
  if (!tessaron::isReadable(document)) return false;
  document->Clear();
  tessaron::appendDeclaration(*document);
  return toXmlNode(appendElement(*document, "ProductInfo"));
}
