// Records as XML and as JSON, sort forms, and the order of texts.

#include "c_interface/guard.h"
#include "c_interface/json.h"
#include "catalogue/item_merge.h"
#include "platform/file.h"
#include "platform/system.h"
#include "records/item_stream.h"
#include "records/record_from_json.h"
#include "records/record_json.h"
#include "settings/collation.h"
#include "support/json_reader.h"
#include "support/json_writer.h"
#include "support/sort_form.h"
#include "support/text.h"

namespace c = tessaron::c;
using tessaron::fromUtf8;
using tessaron::toUtf8;

std::string tessaron::c::jsonOf(const CRecord& record) {
  std::string text;
  JsonWriter json(text);
  writeRecord(record, utcNow(), json);
  return text;
}

void tessaron::c::readJson(std::string_view json, CRecord& record, bool* sawDate) {
  const std::unique_ptr<File> file = memoryFile(std::string(json));
  JsonReader reader(*file);
  if (reader.next() != JsonReader::Token::BeginObject) {
    throw Failure{TSR_INVALID_ARGUMENT,
                  reader.error().empty() ? "a record is an object of JSON" : reader.error()};
  }
  std::string reason;
  std::string error = recordFromJson(
      reader, record,
      [&](const std::string& name) {
        if (reason.empty()) reason = "a record has no \"" + name + '"';
      },
      sawDate);
  if (reader.token() == JsonReader::Token::EndObject) reader.next();
  if (!reader.error().empty()) error = reader.error();
  if (error.empty()) error = std::move(reason);
  if (!error.empty()) throw Failure{TSR_INVALID_ARGUMENT, std::move(error)};
}

tsr_status tsr_records_from_xml(const char* text, size_t size, char** records) {
  return c::guarded([&] {
    c::require(text, records);
    const std::unique_ptr<tessaron::File> file = tessaron::memoryFile(std::string(text, size));
    tessaron::ItemStream items(*file);
    std::string out;
    tessaron::JsonWriter json(out);
    const SYSTEMTIME now = tessaron::utcNow();
    json.beginArray();
    while (items.next()) {
      CRecord record;
      items.read(record);
      tessaron::writeRecord(record, now, json);
    }
    json.endArray();
    if (items.error()) throw c::Failure{TSR_DAMAGED, items.error().message};
    *records = c::handOut(out);
    return TSR_OK;
  });
}

tsr_status tsr_record_to_xml(const char* record, char** text) {
  return c::guarded([&] {
    c::require(record, text);
    CRecord item;
    c::readJson(record, item);
    *text = c::handOut(tessaron::itemText(std::move(item)));
    return TSR_OK;
  });
}

namespace {

using FormOf = tessaron::SortForm (*)(std::u16string_view, const tessaron::SortRules&);

tsr_status sortForm(const char* text, const char* language, char** form, FormOf formOf) {
  return c::guarded([&] {
    c::require(text, language, form);
    const tessaron::SortLanguage* known = tessaron::findSortLanguage(fromUtf8(language));
    if (!known)
      throw c::Failure{TSR_NOT_FOUND, '"' + std::string(language) + "\" is no known language"};
    *form = c::handOut(toUtf8(formOf(fromUtf8(text), tessaron::rulesOf(*known)).text));
    return TSR_OK;
  });
}

}  // namespace

tsr_status tsr_title_sort_form(const char* title, const char* language, char** form) {
  return sortForm(title, language, form, tessaron::titleSortForm);
}

tsr_status tsr_name_sort_form(const char* name, const char* language, char** form) {
  return sortForm(name, language, form, tessaron::nameSortForm);
}

tsr_status tsr_compare(const char* left, const char* right, int* order) {
  return c::guarded([&] {
    c::require(left, right, order);
    const std::u16string a = fromUtf8(left), b = fromUtf8(right);
    *order = CCollationSystem::CompareStringW(a.c_str(), b.c_str(), 1);
    return TSR_OK;
  });
}
