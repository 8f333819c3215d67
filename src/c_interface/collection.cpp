// Collections: walking over their items.

#include <optional>

#include "c_interface/guard.h"
#include "c_interface/json.h"
#include "catalogue/file_links.h"
#include "catalogue/query.h"
#include "platform/system.h"
#include "records/item_stream.h"
#include "support/text.h"

namespace c = tessaron::c;

struct tsr_collection {
  tsr_collection(std::string thePath, std::unique_ptr<tessaron::File> theFile)
      : path(std::move(thePath)), file(std::move(theFile)), items(*file) {}

  std::string path;
  std::unique_ptr<tessaron::File> file;
  tessaron::ItemStream items;
  std::optional<tessaron::Query> query;
};

namespace {

// Fails unless the walk ended where the collection ends.
void requireWhole(const tsr_collection& collection) {
  const tessaron::XmlError& error = collection.items.error();
  if (error.kind == tessaron::XmlError::Kind::Unreadable)
    c::fail(TSR_UNREADABLE, collection.path, error.message);
  if (error)
    c::fail(TSR_DAMAGED, collection.path,
            "line " + std::to_string(error.line) + ", column " + std::to_string(error.column) +
                ": " + error.message);
  if (!collection.items.canHoldItems())
    c::fail(TSR_DAMAGED, collection.path, "this is no collection: it has no place for items");
}

}  // namespace

tsr_status tsr_collection_open(const char* path, tsr_collection** collection) {
  return c::guarded([&] {
    c::require(path, collection);
    std::error_code error;
    auto file = tessaron::openFile(tessaron::fromUtf8(path),
                                   {.shareWrite = true, .shareDelete = true}, error);
    if (!file) c::requireNone(error, TSR_UNREADABLE, path);
    *collection = new tsr_collection(path, std::move(file));
    return TSR_OK;
  });
}

tsr_status tsr_collection_query(tsr_collection* collection, const char* query) {
  return c::guarded([&] {
    c::require(collection, query);
    tessaron::QueryError error;
    auto parsed = tessaron::Query::parse(query, tessaron::utcNow(), error);
    if (!parsed && !error.unknownField.empty())
      throw c::Failure{TSR_INVALID_ARGUMENT, '"' + error.unknownField + "\" is no field"};
    if (!parsed) throw c::Failure{TSR_INVALID_ARGUMENT, error.message};
    parsed->setFolder(tessaron::linkFolder(tessaron::fromUtf8(collection->path)));
    collection->query = std::move(parsed);
    return TSR_OK;
  });
}

tsr_status tsr_collection_next(tsr_collection* collection, char** record) {
  return c::guarded([&] {
    c::require(collection, record);
    while (collection->items.next()) {
      CRecord item;
      collection->items.read(item);
      if (collection->query && !collection->query->matches(item)) continue;
      *record = c::handOut(c::jsonOf(item));
      return TSR_OK;
    }
    requireWhole(*collection);
    return TSR_END;
  });
}

void tsr_collection_close(tsr_collection* collection) { delete collection; }
