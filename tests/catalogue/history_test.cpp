#include "catalogue/history.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "catalogue/item_merge.h"
#include "support/file_content.h"
#include "support/text.h"
#include "temporary_folder.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

namespace tessaron {
namespace {

/// Replaces, removes and adds items at random; those in the older dialect, too.
class RandomEdit : public ItemEdit {
 public:
  explicit RandomEdit(std::mt19937& random) : random_(random), added_(random() % 3) {}

  ItemChange change(const ItemStream& items) override {
    const auto choice = random_() % 4;
    if (choice == 0) return {ItemChange::Kind::Drop, {}};
    if (choice > 1) return {};
    CRecord known;
    items.read(known);
    CRecord record = known;
    record.hasNotes = true;
    record.Notes = u"n" + fromUtf8(std::to_string(random_()));
    return replaceItem(items, *updateItem(items.item(), items.version(), known, record));
  }
  std::string insertion(const ItemStream&) override { return random_() % 8 == 0 ? item() : ""; }
  std::string addition() override { return added_-- > 0 ? item() : ""; }

 private:
  std::string item() {
    const std::string name = std::to_string(random_() % 10000);
    return random_() % 2 == 0 ? "<Item><ASIN>" + name + "</ASIN><x/></Item>"
                              : "<Details><Asin>" + name + "</Asin></Details>";
  }

  std::mt19937& random_;
  std::int64_t added_;
};

class HistoryTest : public testing::Test {
 protected:
  HistoryTest() { setenv("XDG_STATE_HOME", (folder_.path / "state").c_str(), 1); }

  void write(const std::string& text) { writeFile(file_, text); }
  std::string text() const { return ::readFile(file_); }
  std::u16string path() const { return file_.u16string(); }

  /// The items' texts, in their order.
  std::vector<std::string> items() const {
    const std::string all = text();
    std::vector<std::string> found;
    ItemStream stream(all);
    while (stream.next()) found.emplace_back(stream.item());
    EXPECT_FALSE(stream.error()) << all;
    return found;
  }

  void edit(ItemEdit& change) {
    EditOptions options;
    options.verb = "set";
    const EditResult result = editCollection(path(), options, change);
    EXPECT_TRUE(result && result.historyError.empty()) << result.historyError;
  }
  UndoResult undo(std::size_t count = 1, bool redo = false) {
    EditOptions options;
    options.verb = redo ? "redo" : "undo";
    return undoEdits(path(), options, count, redo);
  }
  std::vector<PastEdit> edits() const {
    std::error_code error;
    auto found = History(path()).edits(error);
    EXPECT_FALSE(error);
    return found;
  }
  /// The files of the history.
  std::vector<fs::path> files() const {
    std::vector<fs::path> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder_.path / "state"))
      if (entry.is_regular_file()) found.push_back(entry.path());
    std::sort(found.begin(), found.end());
    return found;
  }

  TemporaryFolder folder_;
  fs::path file_ = folder_.path / "c.xml";
};

TEST_F(HistoryTest, TakesBackEveryEdit) {
  for (std::uint32_t seed = 1; seed <= 12; ++seed) {
    std::mt19937 random(seed);
    write(
        "<PriceTracker>\n <Details><Asin>1</Asin></Details><!--c-->\n <Items>\n  <Item><ASIN>2"
        "</ASIN></Item>\n  <Item/>\n </Items>\n <Details><Asin>3</Asin></Details>\n"
        "</PriceTracker>");
    std::vector<std::vector<std::string>> states = {items()};
    while (states.size() < 6) {
      RandomEdit change(random);
      edit(change);
      if (items() != states.back()) states.push_back(items());
    }
    ASSERT_TRUE(undo(2).edit) << "seed " << seed;
    ASSERT_EQ(items(), states[3]) << "seed " << seed;
    ASSERT_TRUE(undo(2, true).edit) << "seed " << seed;
    ASSERT_EQ(items(), states[5]) << "seed " << seed;
    for (std::size_t i = 5; i-- > 0;) {
      const UndoResult result = undo();
      ASSERT_TRUE(result.edit) << "seed " << seed << ", state " << i;
      ASSERT_EQ(items(), states[i]) << "seed " << seed;
    }
    EXPECT_EQ(edits().size(), 14u);
    fs::remove_all(folder_.path / "state");
  }
}

/// Sets the notes of every item.
struct NotesEdit : ItemEdit {
  explicit NotesEdit(std::u16string to) : notes(std::move(to)) {}
  ItemChange change(const ItemStream& items) override {
    CRecord known;
    items.read(known);
    CRecord record = known;
    record.hasNotes = true;
    record.Notes = notes;
    const auto text = updateItem(items.item(), items.version(), known, record);
    return text ? replaceItem(items, *text) : ItemChange();
  }
  std::u16string notes;
};

/// Removes every item with an ASIN.
struct DropEdit : ItemEdit {
  ItemChange change(const ItemStream& items) override {
    return items.asin().empty() ? ItemChange() : ItemChange{ItemChange::Kind::Drop, {}};
  }
};

const std::string kTwo =
    "<PriceTracker><Items><Item><ASIN>1</ASIN></Item><Item><ASIN>2</ASIN></Item></Items>"
    "</PriceTracker>";

TEST_F(HistoryTest, RefusesToTakeBackWhatHasChangedSince) {
  write(kTwo);
  NotesEdit notes(u"a");
  edit(notes);
  std::string changed = text();
  changed.replace(changed.rfind(">a<") + 1, 1, "b");
  write(changed);
  EXPECT_THAT(undo().conflicts, ElementsAre("2"));
  EXPECT_EQ(text(), changed);

  DropEdit drop;
  edit(drop);
  write(kTwo);  // they are there again
  EXPECT_THAT(undo().conflicts, ElementsAre("1, which is there again", "2, which is there again"));
  EXPECT_EQ(text(), kTwo);
  EXPECT_EQ(undo(3).missing, 1u);

  // A damaged record takes back nothing, also where it is an item in it that is damaged.
  write("<PriceTracker><Items/></PriceTracker>");
  const fs::path last = files().back();
  const std::string whole = ::readFile(last);
  std::vector<std::string> damaged;
  for (std::size_t size = 0; size < whole.size(); ++size) damaged.push_back(whole.substr(0, size));
  for (const char* tag : {"\nundoes", "<Item>", "<ASIN>", "</ASIN>", "</Item>"})
    damaged.emplace_back(whole).replace(whole.find(tag) + 1, 1, " ");
  for (const std::string& record : damaged) {
    writeFile(last, record);
    const UndoResult result = undo();
    EXPECT_THAT(result.unreadable, testing::HasSubstr("damaged")) << record;
    ASSERT_THAT(items(), IsEmpty()) << record;
  }
  writeFile(last, whole);
  EXPECT_TRUE(undo().edit);
  EXPECT_EQ(items().size(), 2u);
}

TEST_F(HistoryTest, FindsOutWhetherAnInterruptedEditWasMade) {
  const auto interrupt = [&] {
    const fs::path last = files().back();
    fs::rename(last, fs::path(last).replace_extension(".part"));
  };
  for (const bool isMade : {true, false}) {
    write(kTwo);
    NotesEdit first(u"a"), second(u"b"), third(u"c");
    edit(first);
    const std::string before = text();
    edit(second);
    interrupt();
    EXPECT_EQ(edits().back().state, PastEdit::State::Interrupted);
    if (!isMade) write(before);
    edit(third);
    EXPECT_EQ(edits().size(), isMade ? 3u : 2u);
    ASSERT_TRUE(undo(isMade ? 3 : 2).edit);
    EXPECT_EQ(text(), kTwo);
    fs::remove_all(folder_.path / "state");
  }
}

TEST_F(HistoryTest, KeepsTheLastEditsForTheUserAlone) {
  write(kTwo);
  for (std::size_t i = 0; i < History::kMaxEdits + 3; ++i) {
    NotesEdit notes(fromUtf8(std::to_string(i)));
    edit(notes);
  }
  EXPECT_EQ(edits().front().number, 4u);
  ASSERT_EQ(files().size(), History::kMaxEdits);
  for (const fs::path& file : files())
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  // However the file is named; and no edit fails for the history's sake.
  fs::create_symlink(file_, folder_.path / "link.xml");
  std::error_code error;
  EXPECT_EQ(History((folder_.path / "link.xml").u16string()).edits(error).size(),
            History::kMaxEdits);
  fs::remove_all(folder_.path / "state");
  writeFile(folder_.path / "state", "no folder");
  NotesEdit notes(u"last");
  EditOptions options;
  options.verb = "set";
  const EditResult result = editCollection(path(), options, notes);
  EXPECT_TRUE(result && result.changed);
  EXPECT_THAT(result.historyError, testing::HasSubstr("cannot be taken back"));
}

}  // namespace
}  // namespace tessaron
