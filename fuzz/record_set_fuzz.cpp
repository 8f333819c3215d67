#include "fuzz.h"
#include "records/record_set.h"
#include "records/shopping_cart.h"
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

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text = asText(data, size);
  CRecordSet set;
  const bool readable = set.fromString(text);
  CHECK(readable || set.records.empty());
  CShoppingCart().fromString(text);
  CRecord first;
  CHECK(first.fromString(text) || set.records.empty());

  // Item by item or in one document: it is the same. Only of an item that is cut, even in its own
  // tag, the rest may be another.
  TiXmlDocument document;
  const bool cut = static_cast<bool>(tessaron::parseXml(text, document));
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
  // Items of the older dialect are completed when they are read in the current one.
  CRecordSet once = read(written(set));
  CHECK(once.records.size() == count);
  CRecordSet twice = read(written(once));
  CHECK(written(twice) == written(once));
  return 0;
}
