#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz.h"
#include "support/edited_collection.h"
#include "support/unreliable_file.h"
#include "support/xml/xml.h"

using Collection = tessaron::EditedCollection;
using tessaron::ImportCounts;

namespace {

// The input with a long stretch for two control characters, which no well-formed text has: longer
// than what is read at once, and than a tag may be.
std::string stretched(const std::string& input) {
  constexpr std::size_t kBlock = std::size_t{70} << 10, kTag = std::size_t{4200} << 10;
  std::string text;
  std::size_t left = 3;
  for (const char c : input) {
    const std::size_t more = c == '\x1A' ? kBlock : c == '\x19' ? kTag : 0;
    if (more == 0 || left == 0) {
      text += c;
    } else {
      text.append(more, c == '\x1A' ? '\n' : 'a');
      left = more == kTag ? 0 : left - 1;
    }
  }
  return text;
}

// The library's own text for a record, which holds all that makes two records equal.
std::string written(const CRecord& record) {
  CRecord copy = record;
  copy.preProcess();
  TiXmlElement item("Item");
  copy.composeItemNode(&item);
  std::string text;
  tessaron::printXml(item, text);
  return text;
}

// The text can be opened again and gives the same records.
void checkText(const Collection& collection) {
  Collection again;
  CHECK(!again.parse(collection.text()));
  CHECK(again.records().size() == collection.records().size());
  for (std::size_t i = 0; i < again.records().size(); ++i) {
    CHECK(written(again.records()[i]) == written(collection.records()[i]));
  }
}

struct SizelessFile : UnreliableFile {
  using UnreliableFile::UnreliableFile;
  std::optional<std::uint64_t> size() override { return {}; }
};

// The same comes of short reads, and where no size is told. A read that fails is told.
void checkReads(const std::string& text, const tessaron::RecoveredText& recovery) {
  std::string found;
  const auto sink = [&found](std::string_view part) {
    found += part;
    return true;
  };
  UnreliableFile file(text);
  SizelessFile stream(text);
  for (UnreliableFile* from : {&file, static_cast<UnreliableFile*>(&stream)}) {
    from->maxRead = 999;
    found.clear();
    CHECK(recover(*from, sink).items == recovery.items);
    CHECK(recovery.items == 0 || found == recovery.text);
  }
  UnreliableFile failing(text);
  const int number = static_cast<int>(text.size() % 5);
  failing.fails = [number](int read) { return read >= number; };
  CHECK(recover(failing, sink).readError || failing.reads <= number);
}

// A file gets what a text does.
void checkFile(const std::string& text, const tessaron::RecoveredText& recovery) {
  namespace fs = std::filesystem;
  static const fs::path path =
      fs::temp_directory_path() / ("collection_fuzz." + std::to_string(getpid()));
  fs::remove(path);
  const auto file = tessaron::memoryFile(text);
  CHECK(recoverCollection(*file, path.u16string()).items == recovery.items);
  CHECK(fs::exists(path) == (recovery.items > 0));
  if (recovery.items == 0) return;
  std::ifstream written(path, std::ios::binary);
  CHECK(std::string(std::istreambuf_iterator<char>(written), {}) == recovery.text);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const unsigned choice = data[size - 1];  // what is a line end in most texts
  const std::string text = stretched(asText(data, size - 1));

  const tessaron::RecoveredText recovery = tessaron::recoverText(text);
  Collection collection;
  CHECK(!collection.parse(recovery.text));
  CHECK(collection.records().size() == recovery.items);
  CHECK(!recovery.faults.empty() || recovery.text == text);
  CHECK(collection.text() == recovery.text);
  constexpr std::size_t kLong = std::size_t{1} << 20;  // edits of it take seconds
  if (text.size() > kLong) return 0;
  checkReads(text, recovery);
  checkFile(text, recovery);

  for (std::size_t i = 0; i < collection.records().size(); ++i) {
    CHECK(!collection.update(i, CRecord(collection.records()[i])));
  }
  CHECK(collection.text() == recovery.text);

  CRecord record;
  record.ASIN = u"B0";
  record.hasNotes = record.hasStatus = true;
  record.Notes = u" <n> ";
  record.actors = {u"A", u"B"};
  record.hasActors = true;
  record.customFieldNames[choice % 7] = u"shelf";
  if (!collection.records().empty()) {
    const std::size_t index = choice % collection.records().size();
    CRecord changed = collection.records()[index];
    changed.Notes = record.Notes;
    changed.hasNotes = true;
    if (choice & 64) changed.actors = record.actors, changed.hasActors = true;
    if (choice & 32) changed.Title.clear();
    if (choice & 16) changed = record;
    collection.update(index, changed);
    CHECK(collection.records()[index].Notes == record.Notes);
    checkText(collection);
    if (choice & 128) collection.remove(index);
    checkText(collection);
  }
  collection.add(record);
  checkText(collection);

  // What was imported once is there.
  ImportCounts counts;
  const bool good = !collection.import(text, 1, counts);
  CHECK(counts.read == counts.added + counts.updated + counts.skipped + counts.rejected.size());
  CHECK(good || counts.read == 0);
  checkText(collection);
  ImportCounts again;
  collection.import(text, 1, again);
  CHECK(again.read == counts.read && again.added == 0);
  return 0;
}
