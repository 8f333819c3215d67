#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "fuzz.h"
#include "platform/file.h"
#include "records/item_stream.h"
#include "records/price.h"
#include "records/record_set.h"
#include "records/shopping_cart.h"
#include "support/text.h"
#include "support/xml/encoding.h"
#include "support/xml/xml.h"

namespace {

std::string written(CRecordSet& set) {
  std::string text;
  CHECK(set.toString(text));
  return text;
}

CRecordSet read(const std::string& text) {
  CRecordSet set;
  CHECK(set.fromString(text));
  return set;
}

// The items of a stream, and how it ended.
template <typename Source>
std::vector<std::string> itemsOf(Source& source) {
  tessaron::ItemStream items(source);
  std::vector<std::string> found;
  while (items.next()) {
    found.emplace_back(items.item());
    found.push_back(wchar2utf8(items.asin()));
  }
  found.push_back(items.error() ? items.error().message : "");
  found.emplace_back(items.canHoldItems() ? "a place for items" : "none");
  return found;
}

// Readers of parts take every element, also such as are no part of theirs.
void readParts(TiXmlElement* element) {
  CRecord record;
  std::u16string price, fields[3];
  CRecord::Strings lists[3];
  record.parseSharedInfo(element);
  record.parseItemAttributesSingle(element, 3, fields);
  record.parseItemAttributesMulti(element, 3, lists);
  record.parseEditorialReviews(element);
  record.parseDiscTrack(element);
  record.parseOfferSummary(element);
  record.parseOffers(element, true, 5);
  CHECK(record.offers.size() <= 5);
  record.parseCustomFields(element);
  record.parseLanguages(element);
  record.parseCustomerReviews(element, 3);
  record.parseCustomerReviews(element, 4);
  record.parseFormattedPrice(element, price);
  if (const auto parsed = tessaron::parsePrice(price)) CHECK(parsed->amount >= 0);
  CRecord().fromXmlNode(element);
  // A record is written the same as text and as elements.
  record.preProcess();
  TiXmlElement item("Item");
  record.composeItemNode(&item);
  std::string printed;
  tessaron::printXml(item, printed);
  CRecordSet set;
  set.records = {record};
  CHECK(written(set).find(printed) != std::string::npos);
  for (TiXmlElement* child = element->FirstChildElement(); child;
       child = child->NextSiblingElement())
    readParts(child);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  CRecordSet set;
  const bool readable = set.fromString(text);
  CHECK(readable || set.records.empty());
  CShoppingCart().fromString(text);
  tessaron::XmlDecoder decoder(text);
  const tessaron::DecodedXml decoded = tessaron::decodeXml(decoder, text);
  const auto file = tessaron::memoryFile(text);
  if (!decoded.error) CHECK(itemsOf(*file) == itemsOf(decoded.text));
  CRecord first;
  CHECK(first.fromString(text) || set.records.empty());

  // Item by item or in one document: it is the same. Only of an item that is cut, even in its own
  // tag, the rest may be another.
  TiXmlDocument document;
  const bool cut = static_cast<bool>(tessaron::parseXml(text, document));
  if (document.RootElement()) readParts(document.RootElement());
  CRecordSet whole;
  whole.fromXml(&document);
  const std::size_t count = set.records.size();
  CHECK(whole.records.size() == count || (cut && whole.records.size() == count + 1));
  const std::size_t same = cut && count > 0 ? count - 1 : count;
  CRecordSet parts = set;
  parts.records.resize(same);
  whole.records.resize(same);
  CHECK(written(parts) == written(whole));

  for (CRecord& record : set.records) {
    std::u16string sentence;
    CHECK(record.getStatusString(sentence) && record.getDigestString(sentence));
    CHECK(record.getDueStates() >= 0 && record.getDueStates() <= 2);
    // Each reading shortens one more of several currency marks in a row.
    record.ListPrice.clear();
  }
  if (size % 16 == 0) {
    static const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("record_set_fuzz." + std::to_string(getpid()));
    CRecordSet saved;
    std::error_code error;
    CHECK(set.saveTo(path.u16string(), error) && saved.fromFile(path.u16string()));
    CHECK(saved.records.size() == count);
    std::filesystem::remove(path);
  }
  // Items of the older dialect are completed when they are read in the current one.
  CRecordSet once = read(written(set));
  CHECK(once.records.size() == count);
  CRecordSet twice = read(written(once));
  CHECK(written(twice) == written(once));
  return 0;
}
