// Takes back an edit whose record in the history is the input, up to a zero byte; the rest is the
// collection. Then makes the edit again, and takes both back.

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "catalogue/history.h"
#include "fuzz.h"
#include "records/item_stream.h"
#include "support/edited_collection.h"

namespace {

namespace fs = std::filesystem;
using tessaron::EditOptions;
using tessaron::PastEdit;

// A collection with its history in a folder of its own.
struct Place {
  fs::path folder = fs::temp_directory_path() / ("history_fuzz." + std::to_string(getpid()));
  fs::path collection = folder / "c.xml";
  fs::path history;  // the folder of this collection

  Place() {
    fs::create_directories(folder);
    setenv("XDG_STATE_HOME", folder.c_str(), 1);
    write(collection, "<R><Items><Item/></Items></R>");
    struct : tessaron::ItemEdit {
      tessaron::ItemChange change(const tessaron::ItemStream&) override {
        return {tessaron::ItemChange::Kind::Drop, {}};
      }
    } drop;
    CHECK(editCollection(collection.u16string(), EditOptions{.verb = "drop"}, drop));
    history = *fs::directory_iterator(folder / "tessaron/history");
  }
  ~Place() { fs::remove_all(folder); }

  static void write(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
  }
  std::string text() const {
    std::ifstream file(collection, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::vector<PastEdit> edits() const {
    std::error_code error;
    auto found = tessaron::History(collection.u16string()).edits(error);
    CHECK(!error);
    return found;
  }
};

// The collection is one whatever is taken back; nothing changes without success.
bool undo(const Place& place, std::size_t count, bool redo) {
  const std::string before = place.text();
  const auto result =
      undoEdits(place.collection.u16string(), EditOptions{.verb = "undo"}, count, redo);
  CHECK(result.edit.historyError.empty() && !result.readError);
  CHECK(result.conflictCount >= result.conflicts.size());
  if (!result.edit || !result.edit.changed) {
    CHECK(place.text() == before);
    return false;
  }
  CHECK(result.missing == 0 && result.unreadable.empty() && result.conflicts.empty());
  tessaron::EditedCollection after;
  CHECK(!after.parse(place.text()));
  return true;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Place place;
  const std::string input = asText(data, size);
  const std::size_t end = std::min(input.find('\0'), size);
  const std::string text = input.substr(std::min(end + 1, size));
  tessaron::EditedCollection collection;
  if (collection.parse(text)) return 0;
  for (const auto& file : fs::directory_iterator(place.history)) fs::remove(file);
  Place::write(place.collection, collection.text());
  // An edit may have been made when the program ended, or not.
  const bool isPending = size % 4 == 0;
  Place::write(place.history / (isPending ? "0000000002.part" : "0000000002.edit"),
               input.substr(0, end));
  const std::vector<PastEdit> edits = place.edits();
  CHECK(edits.size() == 1 && edits[0].number == 2);
  CHECK(isPending == (edits[0].state == PastEdit::State::Interrupted));
  if (!undo(place, 1, false)) return 0;
  CHECK(!edits[0].isDamaged && !edits[0].isTooLarge);
  CHECK(place.edits().size() == 2 && place.edits()[0].state == PastEdit::State::TakenBack);
  if (undo(place, 1, true)) CHECK(undo(place, 1, false));
  return 0;
}
