#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "platform/system.h"
#include "records/field_text.h"
#include "records/item_text.h"
#include "records/item_walk.h"
#include "records/linked_file_internal.h"
#include "records/record.h"
#include "records/record_fields.h"
#include "support/dos_date.h"
#include "support/text.h"
#include "support/xml/tiny_element.h"
#include "support/xml/tree.h"

namespace tessaron {
namespace {

using Strings = CRecord::Strings;

// Calls `visit` with every child element and its name.
template <typename Element, typename Visit>
void forEachChild(Element parent, Visit visit) {
  for (Element child = parent.firstChild(); child; child = child.nextSibling()) {
    visit(child, child.name());
  }
}

// As above, for the children of one name.
template <typename Element, typename Visit>
void forEachChild(Element parent, std::string_view name, Visit visit) {
  forEachChild(parent, [&](Element child, std::string_view childName) {
    if (childName == name) visit(child);
  });
}

// Decimal digits up to the first other character; what is no number is 0. Kept in 16 bits.
std::uint16_t parseDate(std::u16string_view text) {
  std::uint64_t value = 0;
  for (const char16_t c : text) {
    if (c < u'0' || c > u'9') break;
    value = std::min<std::uint64_t>(value * 10 + (c - u'0'), 0xFFFFFFFF);
  }
  return static_cast<std::uint16_t>(value);
}

template <typename Element>
bool readPrice(Element element, std::u16string& out) {
  const Element price = element.child("FormattedPrice");
  if (price) out = value(price);
  return static_cast<bool>(price);
}

// Puts the element's text into the member at its name. False when the table does not have the name.
template <std::size_t N, typename Element>
bool readMember(const std::array<NamedMember<TextMember>, N>& table, const NameTable<N>& names,
                std::string_view name, Element element, CRecord& record) {
  const std::size_t index = names.find(name);
  if (index == N) return false;
  if (table[index].member) {
    record.*table[index].member = fieldText(element, table[index].rule);
  }
  return true;
}

template <typename Element>
void readOfferListing(Element offer, COfferListing& listing) {
  const Element element = offer.child("OfferListing");
  if (!element) return;
  forEachChild(element, [&](Element child, std::string_view name) {
    if (name == "OfferListingId") listing.OfferListingId = value(child);
    if (name == "Price") readPrice(child, listing.Price);
    if (name == "Availability") listing.Availability = prose(child);
  });
}

template <typename Element>
COffer readOffer(Element element) {
  COffer offer;
  forEachChild(element, [&](Element part, std::string_view partName) {
    if (partName == "Seller") {
      forEachChild(part, [&](Element child, std::string_view name) {
        if (name == "SellerId") offer.SellerId = value(child);
        if (name == "Nickname") offer.Nickname = prose(child);
        if (name != "Location") return;
        forEachChild(child, "State", [&](Element e) { offer.State = prose(e); });
        forEachChild(child, "Country", [&](Element e) { offer.Country = prose(e); });
      });
    } else if (partName == "OfferAttributes") {
      forEachChild(part, [&](Element child, std::string_view name) {
        if (name == "Condition") offer.Condition = prose(child);
        if (name == "ConditionNote") offer.ConditionNote = prose(child);
      });
    }
  });
  COfferListing listing;
  readOfferListing(element, listing);
  offer.OfferListingId = std::move(listing.OfferListingId);
  offer.Price = std::move(listing.Price);
  offer.Availability = std::move(listing.Availability);
  return offer;
}

// As TinyXML's QueryIntAttribute: leading white space and digits count, what follows them does not.
bool readInteger(const std::optional<std::string>& text, int& out) {
  return text && std::sscanf(text->c_str(), "%d", &out) == 1;
}

constexpr NameTable kItemTextNames = namesOf(kItemTexts);
constexpr NameTable kItemDateNames = namesOf(kItemDates);
constexpr NameTable kImageNames = namesOf(kImages);
constexpr NameTable kDetailsTextNames = namesOf(kDetailsTexts);
constexpr NameTable kDetailsListNames = namesOf(kDetailsLists);

/// One pass over an item, which is a TinyElement or an XmlTree::Element and not null.
template <typename Element>
class ItemReader {
 public:
  ItemReader(CRecord& record, int version) : record_(record), version_(version) {}

  void read(Element item) {
    readShared(item);
    if (const auto url = item.attribute("url")) {
      record_.DetailPageURL = trimmed(fromUtf8(*url));
    }
    forEachChild(item, [this](Element child, std::string_view name) {
      version_ == 3 ? readDetailsChild(child, name) : readItemChild(child, name);
    });
    scatter();
    record_.postProcess();
  }

  void readShared(Element item) {
    record_.hasIcon = readInteger(item.attribute("icon"), record_.icon);
    record_.hasStatus = readInteger(item.attribute("status"), record_.status);
  }

  static bool readSingle(Element element, std::size_t count, std::u16string* fields) {
    const std::size_t index = kSingleAttributeNames.find(element.name());
    if (index >= std::min(count, kSingleAttributes.size())) return false;
    fields[index] = fieldText(element, kSingleAttributes[index].rule);
    return true;
  }

  static bool readMulti(Element element, std::size_t count, Strings* lists) {
    const std::size_t index = kListAttributeNames.find(element.name());
    if (index >= std::min(count, kListAttributes.size())) return false;
    lists[index].push_back(prose(element));
    return true;
  }

  void readEditorialReviews(Element element) {
    std::u16string& description = record_.description;
    description.clear();
    forEachChild(element, "EditorialReview", [&](Element review) {
      if (review.beginsWithText()) {  // as the collection keeps it
        description = review.elementText();
        return;
      }
      forEachChild(review, [&](Element part, std::string_view name) {
        if (name == "Source") description += u"<p><b>" + prose(part) + u" </b>";
        if (name == "Content") description += prose(part) + u"</p>\n";
      });
    });
  }

  void readTracks(Element element) {
    forEachChild(element, "Disc", [&](Element disc) {
      Strings& titles = record_.discs.emplace_back();
      forEachChild(disc, "Track", [&](Element track) { titles.push_back(prose(track)); });
    });
  }

  void readOfferSummary(Element element) {
    forEachChild(element, [this](Element child, std::string_view name) {
      if (name == "LowestNewPrice") readPrice(child, record_.LowestNewPrice);
      if (name == "LowestUsedPrice") readPrice(child, record_.LowestUsedPrice);
      if (name == "TotalNew") record_.TotalNew = value(child);
      if (name == "TotalUsed") record_.TotalUsed = value(child);
    });
  }

  void readOffers(Element element, bool allOffers, int maxOffers) {
    if (!allOffers) {
      const Element first = element.firstChild();
      if (first && first.name() == "Offer") readOfferListing(first, record_.offerListing);
      return;
    }
    int count = 0;
    forEachChild(element, "Offer", [&](Element offer) {
      if (count >= maxOffers) return;
      if (count++ == 0) readOfferListing(offer, record_.offerListing);
      record_.offers.push_back(readOffer(offer));
    });
  }

  void readCustomFields(Element element) {
    const std::size_t slots =
        std::min({record_.customFieldFlags.size(), record_.customFieldNames.size(),
                  record_.customFieldValues.size()});
    std::size_t slot = 0;
    forEachChild(element, "CustomField", [&](Element field) {
      if (slot >= slots) return;
      const auto name = field.attribute("name");
      const auto value = field.attribute("value");
      record_.customFieldNames[slot] = name ? fromUtf8(*name) : std::u16string();
      record_.customFieldValues[slot] = value ? fromUtf8(*value) : std::u16string();
      record_.customFieldFlags[slot] = !record_.customFieldNames[slot].empty();
      ++slot;
    });
  }

  void readLanguages(Element element) {
    forEachChild(element, "Language", [this](Element language) {
      std::u16string text, type, audioFormat;
      forEachChild(language, [&](Element part, std::string_view name) {
        if (name == "Name") text = prose(part);
        if (name == "Type") type = prose(part);
        if (name == "AudioFormat") audioFormat = prose(part);
      });
      if (type.empty()) type = std::move(audioFormat);
      if (!type.empty()) text += u" (" + type + u")";
      record_.languages.push_back(std::move(text));
    });
  }

  void readCustomerReviews(Element element) {
    const ReviewNames& names = reviewNames();
    forEachChild(element, [&](Element child, std::string_view childName) {
      if (childName == names.average) record_.AverageRating = value(child);
      if (childName == names.total) record_.TotalReviews = value(child);
      if (childName != names.review) return;
      std::u16string& rating = record_.reviewRatings.emplace_back();
      std::u16string& summary = record_.reviewSummaries.emplace_back();
      std::u16string& content = record_.reviewContents.emplace_back();
      forEachChild(child, [&](Element part, std::string_view name) {
        if (name == "Rating") rating = value(part);
        if (name == "Summary") summary = prose(part);
        if (name == names.content) content = prose(part);
      });
    });
  }

  std::string_view reviewsName() const { return reviewNames().reviews; }

 private:
  struct ReviewNames {
    std::string_view reviews, average, total, review, content;
  };

  const ReviewNames& reviewNames() const {
    static constexpr ReviewNames kCurrent{"CustomerReviews", "AverageRating", "TotalReviews",
                                          "Review", "Content"};
    static constexpr ReviewNames kOlder{"Reviews", "AvgCustomerRating", "TotalCustomerReviews",
                                        "CustomerReview", "Comment"};
    return version_ == 3 ? kOlder : kCurrent;
  }

  void readItemChild(Element child, std::string_view name) {
    if (readMember(kItemTexts, kItemTextNames, name, child, record_) || readDate(child, name) ||
        readImage(child, name)) {
      return;
    }
    if (name == "ItemAttributes") {
      forEachChild(child, [this](Element attribute, std::string_view attributeName) {
        readAttribute(attribute, attributeName);
      });
    } else if (name == "Tessaron") {
      readExtra(child);
    } else if (record_.fullDetail) {
      if (name == "EditorialReviews") readEditorialReviews(child);
      if (name == "Tracks") readTracks(child);
      if (name == "OfferSummary") readOfferSummary(child);
      if (name == "Offers") readOffers(child, false, 5);
      readCommonDetail(child, name);
    }
  }

  void readDetailsChild(Element child, std::string_view name) {
    if (readMember(kDetailsTexts, kDetailsTextNames, name, child, record_) ||
        readImage(child, name)) {
      return;
    }
    const std::size_t list = kDetailsListNames.find(name);
    if (list < kDetailsLists.size()) {
      forEachChild(child, [&](Element entry, std::string_view) {
        detailsLists_[list].push_back(prose(entry));
      });
    } else if (name == "Tessaron") {
      readExtra(child);
    } else if (record_.fullDetail) {
      readCommonDetail(child, name);
    }
  }

  void readExtra(Element extra) {
    forEachChild(extra, [this](Element child, std::string_view name) {
      if (name == "Copies") record_.copies = std::max<std::int32_t>(parseDate(value(child)), 1);
      if (name == "Files") readFiles(child);
      if (name != "Loans") return;
      record_.loans.clear();
      forEachChild(child, "Loan", [this](Element loan) { readLoan(loan); });
    });
  }

  // Of several files with one path, as a merge of two collections may leave them, the first counts.
  void readFiles(Element files) {
    record_.files.clear();
    std::unordered_set<std::u16string> paths;
    forEachChild(files, "File", [&](Element element) {
      CLinkedFile file;
      file.path = unescapeFilePath(fromUtf8(element.attribute("path").value_or("")));
      if (file.path.empty() || !paths.insert(file.path).second) return;
      file.size = parseFileSize(element.attribute("size").value_or(""));
      file.checksum = fromUtf8(element.attribute("checksum").value_or(""));
      file.added = parseIsoDate(element.attribute("added").value_or(""));
      record_.files.push_back(std::move(file));
    });
  }

  void readLoan(Element element) {
    const auto date = [&](const char* name) {
      return parseIsoDate(element.attribute(name).value_or(""));
    };
    CLoan& loan = record_.loans.emplace_back();
    loan.status = parseDate(fromUtf8(element.attribute("status").value_or("0")));
    loan.who = fromUtf8(element.attribute("who").value_or(""));
    loan.begin = date("from");
    loan.end = date("until");
    loan.returned = date("returned");
  }

  void readCommonDetail(Element child, std::string_view name) {
    if (name == "CustomFields") readCustomFields(child);
    if (name == reviewsName()) readCustomerReviews(child);
  }

  void readAttribute(Element attribute, std::string_view name) {
    if (const std::size_t i = kSingleAttributeNames.find(name); i < kSingleAttributes.size()) {
      const auto& [ignored, member, rule] = kSingleAttributes[i];
      std::u16string text = fieldText(attribute, rule);
      if (i == kNumberOfDiscs || i == kNumberOfItems) {
        hasNumberOfDiscs_ = true;
        (i == kNumberOfDiscs ? numberOfDiscs_ : numberOfItems_) = std::move(text);
      } else {
        record_.*member = std::move(text);
      }
    } else if (!readMulti(attribute, lists_.size(), lists_.data()) && record_.fullDetail) {
      if (name == "ListPrice") readPrice(attribute, record_.ListPrice);
      if (name == "Languages") readLanguages(attribute);
    }
  }

  bool readDate(Element child, std::string_view name) {
    const std::size_t index = kItemDateNames.find(name);
    if (index == kItemDates.size()) return false;
    const std::u16string text = value(child);
    if (!text.empty()) record_.*kItemDates[index].member = parseDate(text);
    return true;
  }

  bool readImage(Element child, std::string_view name) {
    const std::size_t index = kImageNames.find(name);
    if (index == kImages.size()) return false;
    if (const Element url = child.child("URL")) {
      record_.*kImages[index].member = value(url);
    }
    return true;
  }

  // Moves into the record what can only be judged as a whole. A field that was not read keeps its
  // former value.
  void scatter() {
    if (hasNumberOfDiscs_) {
      record_.NumberOfDiscs = std::move(numberOfDiscs_.empty() ? numberOfItems_ : numberOfDiscs_);
    }
    for (std::size_t i = 0; i < lists_.size(); ++i) {
      if (!lists_[i].empty()) record_.*kListAttributes[i].member = std::move(lists_[i]);
    }
    for (std::size_t i = 0; i < detailsLists_.size(); ++i) {
      Strings& list = detailsLists_[i];
      if (list.empty()) continue;
      if (kDetailsLists[i].member) {
        record_.*kDetailsLists[i].member = std::move(list);
      } else {
        record_.discs.clear();
        record_.discs.push_back(std::move(list));
      }
    }
    if (version_ != 3 && record_.Binding.empty()) record_.Binding = record_.ProductGroup;
  }

  CRecord& record_;
  int version_;
  bool hasNumberOfDiscs_ = false;
  std::u16string numberOfDiscs_, numberOfItems_;
  std::array<Strings, kListAttributes.size()> lists_;
  std::array<Strings, kDetailsLists.size()> detailsLists_;
};

using DocumentReader = ItemReader<TinyElement>;

bool isNamed(const TiXmlElement* element, std::string_view name) {
  return isReadable(element) && element->ValueStr() == name;
}

}  // namespace
}  // namespace tessaron

using tessaron::DocumentReader;
using tessaron::isNamed;
using tessaron::isReadable;
using tessaron::TinyElement;

void tessaron::readItem(const XmlTree::Element& item, int version, CRecord& record) {
  ItemReader<XmlTree::Element>(record, version).read(item);
}

bool CRecord::fromXml(TiXmlDocument* document) {
  if (!isReadable(document)) return false;
  CRecord fresh(*this);  // nothing changes when memory does not suffice
  const bool found = tessaron::forEachItem(*document, [&](TiXmlElement& item, int version) {
    return fresh.fromXmlNodeVersion(&item, version);
  });
  if (found) *this = std::move(fresh);
  return found;
}

bool CRecord::fromXmlNode(TiXmlElement* item) {
  if (isNamed(item, "Details")) return fromXmlNodeVersion(item, 3);
  if (isNamed(item, "Item")) return fromXmlNodeVersion(item, 4);
  return false;
}

bool CRecord::fromXmlNodeVersion(TiXmlElement* item, int version) {
  if (!isReadable(item)) return false;
  DocumentReader(*this, version).read(TinyElement(item));
  return true;
}

void CRecord::parseSharedInfo(TiXmlElement* item) {
  if (isReadable(item)) DocumentReader(*this, 4).readShared(TinyElement(item));
}

bool CRecord::parseItemAttributesSingle(TiXmlElement* element, unsigned count,
                                        std::u16string* fields) {
  return isReadable(element) && DocumentReader::readSingle(TinyElement(element), count, fields);
}

bool CRecord::parseItemAttributesMulti(TiXmlElement* element, unsigned count, Strings* lists) {
  return isReadable(element) && DocumentReader::readMulti(TinyElement(element), count, lists);
}

bool CRecord::parseEditorialReviews(TiXmlElement* element) {
  if (!isNamed(element, "EditorialReviews")) return false;
  DocumentReader(*this, 4).readEditorialReviews(TinyElement(element));
  return true;
}

bool CRecord::parseDiscTrack(TiXmlElement* element) {
  if (!isNamed(element, "Tracks")) return false;
  DocumentReader(*this, 4).readTracks(TinyElement(element));
  return true;
}

bool CRecord::parseOfferSummary(TiXmlElement* element) {
  if (!isNamed(element, "OfferSummary")) return false;
  DocumentReader(*this, 4).readOfferSummary(TinyElement(element));
  return true;
}

bool CRecord::parseOffers(TiXmlElement* element, bool allOffers, int maxOffers) {
  if (!isNamed(element, "Offers")) return false;
  DocumentReader(*this, 4).readOffers(TinyElement(element), allOffers, maxOffers);
  return true;
}

bool CRecord::parseCustomFields(TiXmlElement* element) {
  if (!isNamed(element, "CustomFields")) return false;
  DocumentReader(*this, 4).readCustomFields(TinyElement(element));
  return true;
}

bool CRecord::parseLanguages(TiXmlElement* element) {
  if (!isNamed(element, "Languages")) return false;
  DocumentReader(*this, 4).readLanguages(TinyElement(element));
  return true;
}

bool CRecord::parseCustomerReviews(TiXmlElement* element, int version) {
  DocumentReader reader(*this, version);
  if (!isNamed(element, reader.reviewsName())) return false;
  reader.readCustomerReviews(TinyElement(element));
  return true;
}

bool CRecord::parseFormattedPrice(TiXmlElement* element, std::u16string& out) {
  return isReadable(element) && tessaron::readPrice(TinyElement(element), out);
}
