#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "platform/system.h"
#include "records/field_text.h"
#include "records/item_text.h"
#include "records/linked_file_internal.h"
#include "records/record.h"
#include "records/record_fields.h"
#include "support/dos_date.h"
#include "support/text.h"
#include "support/xml/writer.h"

namespace {

// The names in our tables are literals, and so end with a NUL.
const char* literal(std::string_view name) { return name.data(); }

using tessaron::TextRule;
using tessaron::writeField;

template <typename Output>
void writeProse(Output& output, const char* name, std::u16string_view text) {
  writeField(output, name, text, TextRule::Prose);
}
template <typename Output>
void writeValue(Output& output, const char* name, std::u16string_view value) {
  writeField(output, name, value, TextRule::Value);
}

/// Writes the parts of an item to either kind of output; see support/xml/writer.h.
template <typename Output>
class ItemWriter {
 public:
  explicit ItemWriter(CRecord& record) : record_(record) {}

  void write(Output& item) {
    writeShared(item);
    for (const auto& [name, member, rule] : tessaron::kItemTexts)
      writeField(item, literal(name), record_.*member, rule);
    for (const auto& [name, member, rule] : tessaron::kItemDates) {
      if (const std::uint16_t date = record_.*member)
        item.text(literal(name), tessaron::fromUtf8(std::to_string(date)));
    }
    for (const auto& image : tessaron::kImages) {
      item.element(literal(image.name),
                   [&](auto& element) { writeValue(element, "URL", record_.*image.member); });
    }
    item.element("ItemAttributes", [&](auto& attributes) { writeAttributes(attributes); });
    item.element("EditorialReviews",
                 [&](auto& reviews) { reviews.text("EditorialReview", record_.description); });
    item.element("OfferSummary", [&](auto& summary) { writeOfferSummary(summary); });
    item.element("Offers", [&](auto& offers) { writeOffers(offers); });
    item.element("CustomerReviews", [&](auto& reviews) { writeReviews(reviews); });
    item.element("Tracks", [&](auto& tracks) { writeTracks(tracks); });
    item.element("CustomFields", [&](auto& fields) { writeCustomFields(fields); });
    item.element("Tessaron", [&](auto& extra) { writeExtra(extra); });
  }

  void writeShared(Output& item) {
    if (record_.hasIcon) item.attribute("icon", record_.icon);
    if (record_.hasStatus) item.attribute("status", record_.status);
  }

  void writeExtra(Output& extra) {
    extra.element("Folders", [&](auto& folders) { writeFolders(folders); });
    if (record_.copies != 1)
      extra.text("Copies", tessaron::fromUtf8(std::to_string(record_.copies)));
    if (!record_.loans.empty())
      extra.element("Loans", [&](auto& loans) {
        for (const CLoan& loan : record_.loans)
          loans.element("Loan", [&](auto& element) { writeLoan(element, loan); });
      });
    if (!record_.files.empty())
      extra.element("Files", [&](auto& files) {
        for (const CLinkedFile& file : record_.files)
          files.element("File", [&](auto& element) { writeFile(element, file); });
      });
  }

  static void writeFile(Output& element, const CLinkedFile& file) {
    element.attribute("path", tessaron::escapeFilePath(file.path));
    element.attribute("size", tessaron::fromUtf8(std::to_string(file.size)));
    if (!file.checksum.empty()) element.attribute("checksum", file.checksum);
    if (const std::string added = tessaron::isoDate(file.added); !added.empty())
      element.attribute("added", tessaron::fromUtf8(added));
  }

  static void writeLoan(Output& element, const CLoan& loan) {
    element.attribute("status", loan.status);
    element.attribute("who", loan.who);
    for (const auto& [name, date] : {std::pair("from", loan.begin), std::pair("until", loan.end),
                                     std::pair("returned", loan.returned)}) {
      if (const std::string text = tessaron::isoDate(date); !text.empty())
        element.attribute(name, tessaron::fromUtf8(text));
    }
  }

  void writeFolders(Output& folders) {
    for (CFolderInfo& folder : record_.folders)
      folders.foreign("Folder", [&](TiXmlElement& element) { folder.toElem(&element); });
  }

 private:
  static void writePrice(Output& parent, const char* name, std::u16string_view value) {
    parent.element(name, [&](auto& price) { writeValue(price, "FormattedPrice", value); });
  }

  void writeAttributes(Output& attributes) {
    for (std::size_t i = 0; i < tessaron::kSingleAttributes.size(); ++i) {
      // QUIRK: the number of discs is written as "NumberOfItems". It is read from "NumberOfDiscs"
      // first. Kept: the service names it so for most products, and readers take either.
      if (i == tessaron::kNumberOfDiscs) continue;
      const auto& [name, member, rule] = tessaron::kSingleAttributes[i];
      writeField(attributes, literal(name),
                 record_.*(i == tessaron::kNumberOfItems ? &CRecord::NumberOfDiscs : member), rule);
    }
    for (const auto& [name, member, rule] : tessaron::kListAttributes) {
      for (const std::u16string& entry : record_.*member)
        writeField(attributes, literal(name), entry, rule);
    }
    writePrice(attributes, "ListPrice", record_.ListPrice);
    attributes.element("Languages", [&](auto& languages) {
      for (const std::u16string& name : record_.languages)
        languages.element("Language", [&](auto& language) { writeProse(language, "Name", name); });
    });
  }

  void writeOfferSummary(Output& summary) {
    writePrice(summary, "LowestNewPrice", record_.LowestNewPrice);
    writePrice(summary, "LowestUsedPrice", record_.LowestUsedPrice);
    writeValue(summary, "TotalNew", record_.TotalNew);
    writeValue(summary, "TotalUsed", record_.TotalUsed);
  }

  void writeOffers(Output& offers) {
    offers.element("Offer", [&](auto& offer) {
      offer.element("OfferListing", [&](auto& listing) {
        writeValue(listing, "OfferListingId", record_.offerListing.OfferListingId);
        writeProse(listing, "Availability", record_.offerListing.Availability);
        writePrice(listing, "Price", record_.offerListing.Price);
      });
    });
    for (const COffer& offer : record_.offers)
      offers.element("Offer", [&](auto& element) { writeOffer(element, offer); });
  }

  static void writeOffer(Output& element, const COffer& offer) {
    element.element("Seller", [&](auto& seller) {
      seller.element("Location", [&](auto& location) {
        writeProse(location, "State", offer.State);
        writeProse(location, "Country", offer.Country);
      });
      writeValue(seller, "SellerId", offer.SellerId);
      writeProse(seller, "Nickname", offer.Nickname);
    });
    element.element("OfferAttributes", [&](auto& attributes) {
      writeProse(attributes, "Condition", offer.Condition);
      writeProse(attributes, "ConditionNote", offer.ConditionNote);
    });
    element.element("OfferListing", [&](auto& listing) {
      writeValue(listing, "OfferListingId", offer.OfferListingId);
      writePrice(listing, "Price", offer.Price);
      writeProse(listing, "Availability", offer.Availability);
    });
  }

  void writeReviews(Output& reviews) {
    writeValue(reviews, "AverageRating", record_.AverageRating);
    writeValue(reviews, "TotalReviews", record_.TotalReviews);
    const std::size_t count =
        std::min({record_.reviewRatings.size(), record_.reviewSummaries.size(),
                  record_.reviewContents.size()});
    for (std::size_t i = 0; i < count; ++i) {
      reviews.element("Review", [&](auto& review) {
        writeValue(review, "Rating", record_.reviewRatings[i]);
        writeProse(review, "Summary", record_.reviewSummaries[i]);
        writeProse(review, "Content", record_.reviewContents[i]);
      });
    }
  }

  void writeTracks(Output& tracks) {
    for (const CRecord::Strings& titles : record_.discs) {
      tracks.element("Disc", [&](auto& disc) {
        for (const std::u16string& title : titles) writeProse(disc, "Track", title);
      });
    }
  }

  void writeCustomFields(Output& fields) {
    const std::size_t count =
        std::min(record_.customFieldNames.size(), record_.customFieldValues.size());
    for (std::size_t i = 0; i < count; ++i) {
      fields.element("CustomField", [&](auto& field) {
        field.attribute("name", record_.customFieldNames[i]);
        field.attribute("value", record_.customFieldValues[i]);
      });
    }
  }

  CRecord& record_;
};

using ElementWriter = ItemWriter<tessaron::ElementOutput>;

}  // namespace

void tessaron::writeItem(CRecord& record, std::string& out) {
  TextOutput item(out, "Item");
  ItemWriter<TextOutput>(record).write(item);
  item.end();
}

void CRecord::composeSharedInfo(TiXmlElement* item) {
  if (!tessaron::isReadable(item)) return;
  tessaron::ElementOutput output(*item);
  ElementWriter(*this).writeShared(output);
}

void CRecord::composeItemNode(TiXmlElement* item) {
  if (!tessaron::isReadable(item)) return;
  tessaron::ElementOutput output(*item);
  ElementWriter(*this).write(output);
}

void CRecord::composeExtraNode(TiXmlElement* parent) {
  if (!tessaron::isReadable(parent)) return;
  tessaron::ElementOutput output(*parent);
  ElementWriter(*this).writeExtra(output);
}

void CRecord::composeFolderNode(TiXmlElement* parent) {
  if (!tessaron::isReadable(parent)) return;
  tessaron::ElementOutput output(*parent);
  ElementWriter(*this).writeFolders(output);
}

bool CRecord::toXmlNode(TiXmlElement* parent) {
  if (!tessaron::isReadable(parent)) return false;
  composeItemNode(tessaron::appendElement(*tessaron::appendElement(*parent, "Items"), "Item"));
  return true;
}

bool CRecord::toXml(TiXmlDocument* document) {
  if (!tessaron::isReadable(document)) return false;
  document->Clear();
  tessaron::appendDeclaration(*document);
  return toXmlNode(tessaron::appendElement(*document, "ProductInfo"));
}
