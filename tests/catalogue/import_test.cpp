#include "catalogue/import.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "catalogue/item_merge.h"
#include "catalogue/readers/opf_source.h"
#include "catalogue/readers/source_format.h"
#include "records/record_from_json.h"
#include "records/record_json.h"
#include "support/edited_collection.h"
#include "support/file_content.h"
#include "support/formulas.h"
#include "support/record_samples.h"
#include "support/table_reader.h"
#include "support/text.h"
#include "support/unreliable_file.h"
#include "support/zip_reader.h"

namespace {

using tessaron::EditedCollection;
using tessaron::fieldsOf;
using tessaron::File;
using tessaron::fromUtf8;
using tessaron::JsonReader;
using tessaron::memoryFile;
using tessaron::RecordSource;
using tessaron::SourceFormat;
using tessaron::TableReader;

const SYSTEMTIME kNow{2024, 6, 1, 10, 12, 0, 0, 0};
constexpr std::uint16_t kToday = 0x5421;  // 2022-01-01

std::string sample(const std::string& name) { return TESSARON_SAMPLES "/" + name; }

std::unique_ptr<RecordSource> open(std::unique_ptr<File> file,
                                   std::vector<tessaron::ColumnMapping> mappings = {}) {
  const SourceFormat format = *tessaron::recognizeFormat(*file);
  return openSource(std::move(file), format, std::move(mappings));
}

// What a source gives: its summary, then a line for each item, and the error that ends it.
std::string told(RecordSource& source) {
  std::string items;
  for (tessaron::SourceItem item; source.next(item); item = {})
    items += "\n" + std::to_string(item.line) + ": " +
             (item.error.empty() ? fieldsOf(item.record) : '!' + item.error);
  // The sentence has the dates of the user's locale.
  if (const std::size_t at = items.find("|status.text="); at != items.npos)
    items.erase(at, items.find("|status.due", at) - at);
  const tessaron::SourceSummary& summary = source.summary();
  std::string out(summary.format);
  for (const std::string_view part : {summary.program, summary.encoding, summary.separator})
    out.append(",").append(part);
  if (const tessaron::SourceError& error = source.error())
    items += "\n" + std::to_string(error.line) + ':' + std::to_string(error.column) +
             ": error: " + error.message;
  return out + items;
}

TEST(RecordSource, ReadsTheFilesOfOtherPrograms) {
  for (const std::string name :
       {"goodreads.csv", "librarything.tsv", "calibre.csv", "discogs.csv", "biblioteq.csv",
        "shelf.csv", "tellico.xml", "music.tc", "library"}) {
    const auto source = name == "library" ? tessaron::openPackages(fromUtf8(sample(name)))
                                          : open(memoryFile(readFile(sample(name))));
    std::string text = told(*source) + '\n';
    if (const std::size_t at = text.find(TESSARON_SAMPLES); at != text.npos)
      text.erase(at, sizeof(TESSARON_SAMPLES));
    std::ranges::replace(text, '\\', '/');  // of paths on Windows
    EXPECT_EQ(text, readFile(sample(name + ".expected")));
  }
}

TEST(RecordSource, RefusesWhatItDoesNotKnow) {
  const std::pair<std::string, std::string> rows[] = {
      {"[{\"Title\": 3}, 4, {\"Title\": \"A\", \"no\": {\"x\": []}}]",
       "JSON,TessaronBF,UTF-8,\n"
       "1: !\"Title\" is a number, not a text\n"
       "1: !it is no object\n"
       "1: Title=A"},
      {"\n{\"status\": {\"target\": \"Mo\"}}",
       "JSON,TessaronBF,UTF-8,\n"
       "2: !\"status\" has no \"value\""},
      {"[{\"DateAdded\": \"2023-02-30\"}, {\"icon\": 4294967296}, {\"reviewRatings\": [\"\"]},\n"
       "{\"customFields\": [{},{},{},{},{},{},{},{}]}, {\"offers\": {}}]",
       "JSON,TessaronBF,UTF-8,\n"
       "1: !\"DateAdded\" is no date from 1980 to 2107, written YYYY-MM-DD\n"
       "1: !\"icon\" is no whole number in its range\n"
       "1: !the lists of the reviews differ in length\n"
       "2: !it has 8 fields of its owner's; there is room for 7\n"
       "2: !\"offers\" is an object, not a list"},
      {"[{\"Title\": \"\\ud83d\\ude00\\ud83dx\\\"\\/\\u00e9\"}, {\"Title\":\n01}]",
       "JSON,TessaronBF,UTF-8,\n"
       "1: Title=😀�x\"/é\n"
       "2:1: error: a malformed number"},
      {"[1, 2}",
       "JSON,TessaronBF,UTF-8,\n"
       "1: !it is no object\n"
       "1: !it is no object\n"
       "1:6: error: '}' closes nothing here"},
      {"[\"a\x01\"]",
       "JSON,TessaronBF,UTF-8,\n"
       "1:2: error: a control character in a text"},
      {"[\"a",
       "JSON,TessaronBF,UTF-8,\n"
       "1:2: error: a text without its closing quotation mark"},
      {"[\"\xFF\"]",
       "JSON,TessaronBF,UTF-8,\n"
       "1:2: error: a text with bytes that are no UTF-8"},
      {"{\"a\" 1}",
       "JSON,TessaronBF,UTF-8,\n"
       "1:6: error: a colon is missing; there is '1'"},
      {"[] x",
       "JSON,TessaronBF,UTF-8,\n"
       "1:4: error: the document goes on with 'x' behind its end"},
      {"[tru]",
       "JSON,TessaronBF,UTF-8,\n"
       "1:2: error: a word that is none of true, false and null"},
      {std::string(70, '['),
       "JSON,TessaronBF,UTF-8,\n"
       "1:65: error: objects and lists are nested too deeply"},
      {"[\"\\x\"]",
       "JSON,TessaronBF,UTF-8,\n"
       "1:4: error: an unknown escape in a text"},
      {"Book;Who\n1;2\n",
       "CSV,,UTF-8,semicolon\n"
       "0:0: error: no column of the table is known to be the title; it has \"Book\", \"Who\"; "
       "name the columns with --map"},
      {"Title,Who\nA,b,c\nB,\n",
       "CSV,,UTF-8,comma\n"
       "2: !column \"Who\": the item has no status\n"
       "3: Title=B"},
      {"Title,NumberOfPages\nA,many\n\"B",
       "CSV,,UTF-8,comma\n"
       "2: !column \"NumberOfPages\": \"many\" is no number\n"
       "3:0: error: a cell without its closing quotation mark"},
      {"ASIN,Title,status.value,status.name,DateAdded,authors\nB1,'=A,0,Lent,,x; y\nB2,C,no,,,\n",
       "CSV,TessaronBF,UTF-8,comma\n"
       "2: status.value=0|status.name=Lent|status.due=0|ASIN=B1|Title==A|authors=x; y\n"
       "3: !column \"status.value\": \"no\" is no number"},
      {"<?xml version='1.0'?><tellico><collection "
       "type='2'><entry><title>A</title></entry></tellico>",
       "Tellico,Tellico,UTF-8,\n"
       "1: Title=A|ProductGroup=Book\n"
       "1:83: error: the element \"collection\" is still open here"},
  };
  for (const auto& [text, expected] : rows)
    EXPECT_EQ(told(*open(memoryFile(text))), expected) << text;

  auto file = std::make_unique<UnreliableFile>("Title\nA\n");
  file->fails = [](int read) { return read > 0; };
  EXPECT_EQ(open(std::move(file))->error().kind, tessaron::SourceError::Kind::Unreadable);
}

TEST(TableReader, ReadsRowsOfEveryForm) {
  using Quoting = TableReader::Quoting;
  const struct {
    std::string text, rows;
    Quoting quoting = Quoting::Marks;
  } tables[] = {
      {"a,b\r\n\r\n1,\"x,\"\"y\"\"\r\nz\"\n,\r2,3", "1:a|b/3:1|x,\"y\"\r\nz/5:|/6:2|3/"},
      {"\"a\"b,c\"d\"\n\"\"\n=\"1\",\"=\"\"2\"\"\"", "1:ab|c\"d\"/3:=\"1\"|=\"2\"/"},
      {"a,\"b\n", "1!a cell without its closing quotation mark"},
      {"\"a\\tb\\\\n\\x\",c\\", "1:\"a\tb\\n\\x\"|c\\/", Quoting::Escapes},
  };
  for (const auto& [text, expected, quoting] : tables) {
    const std::unique_ptr<File> file = memoryFile(text);
    TableReader table(*file, ',', quoting);
    std::string rows;
    for (std::vector<std::string> cells; table.next(cells);) {
      rows += std::to_string(table.line());
      for (std::size_t i = 0; i < cells.size(); ++i) rows += (i > 0 ? '|' : ':') + cells[i];
      rows += '/';
    }
    if (!table.error().empty()) rows += std::to_string(table.line()) + '!' + table.error();
    EXPECT_EQ(rows, expected) << text;
  }
}

TEST(Formulas, AreGuardedAndUnguarded) {
  for (const std::string text :
       {"=1", "-1", "+x", "a;=b;-2; \"@c", "\t", ";;=", "it's", "＝x;'", "'a"}) {
    for (const std::string_view dividers : {tessaron::kCsvDividers, tessaron::kTsvDividers}) {
      const std::string guarded = tessaron::guardFormulas(text, dividers);
      EXPECT_FALSE(tessaron::looksLikeFormula(guarded)) << text;
      EXPECT_EQ(tessaron::unguardFormulas(guarded, dividers), text);
    }
  }
  EXPECT_EQ(tessaron::guardFormulas("a;=b", tessaron::kCsvDividers), "a;'=b");
}

std::string jsonOf(const CRecord& record) {
  std::string text;
  tessaron::JsonWriter json(text);
  writeRecord(record, kNow, json);
  return text;
}

TEST(RecordFromJson, ReadsAllThatIsWritten) {
  for (std::uint32_t seed = 0; seed < 200; ++seed) {
    CRecord record = tessaron::randomRecord(seed);
    record.folders.resize(1);
    record.folders[0].files.resize(2);
    record.folders[0].files[1].sizeHigh = record.folders[0].id = 7;
    const std::string text = jsonOf(record);
    const std::unique_ptr<File> file = memoryFile(text);
    JsonReader json(*file);
    ASSERT_EQ(json.next(), JsonReader::Token::BeginObject);
    CRecord back;
    EXPECT_EQ(recordFromJson(json, back, [](const std::string& key) { ADD_FAILURE() << key; }), "");
    EXPECT_EQ(json.next(), JsonReader::Token::End);
    EXPECT_EQ(jsonOf(back), text) << "seed " << seed;
  }
}

// Items without a title, or with an ASIN that another one has, do not come back as they were; nor
// do empty slots between custom fields, and the person of a status that is none.
TEST(Import, BringsBackACollectionFromItsExport) {
  constexpr std::size_t kItems = 100;
  std::string xml = "<PriceTracker><Items>", json;
  for (std::uint32_t seed = 0; seed < kItems; ++seed) {
    CRecord record = tessaron::randomRecord(seed);
    record.ASIN = fromUtf8("B" + std::to_string(seed));
    record.Title += u'x';
    xml += tessaron::itemText(record);
  }
  EditedCollection collection, copy;
  ASSERT_FALSE(collection.parse(xml + "</Items></PriceTracker>"));
  for (const CRecord& record : collection.records())
    json += (json.empty() ? '[' : ',') + jsonOf(record);
  tessaron::ImportCounts counts;
  for (const std::size_t added : {kItems, std::size_t{0}}) {
    ASSERT_FALSE(copy.import(*open(memoryFile(json + ']')), kToday, counts));
    EXPECT_EQ(counts.added, added);
    EXPECT_EQ(counts.added + counts.skipped, kItems);
    ASSERT_EQ(copy.records().size(), kItems);
    for (std::size_t i = 0; i < kItems; ++i)
      ASSERT_EQ(jsonOf(copy.records()[i]), jsonOf(collection.records()[i])) << "seed " << i;
  }
}

constexpr char kShelf[] =
    "<PriceTracker><Items>"
    "<Item status='1'><ASIN>B1</ASIN><Notes>mine</Notes><ItemAttributes><Title>Tides</Title>"
    "<EAN>9780123456786</EAN><Binding>Hardcover</Binding></ItemAttributes><CustomFields>"
    "<CustomField name='Shelf' value='1'/></CustomFields></Item>"
    "<Item><ASIN>B2</ASIN><ItemAttributes><Title>Flow</Title><Author>Bo Lund</Author>"
    "<ProductGroup>Book</ProductGroup></ItemAttributes></Item>"
    "</Items></PriceTracker>";

TEST(Import, KnowsAKeyAgainThatXmlCannotHold) {
  const std::string item = "<R><Items><Item><ASIN>B\x01 2</ASIN></Item></Items></R>";
  EditedCollection collection, raw;
  ASSERT_FALSE(raw.parse(item));
  tessaron::ImportCounts counts;
  for (const std::size_t added : {1, 0}) {
    const std::string text = R"([{"ASIN": "B\u0001 2", "Title": "x"}])";
    ASSERT_FALSE(collection.import(*open(memoryFile(text)), kToday, counts));
    EXPECT_EQ(counts.added, added);
  }
  for (EditedCollection* known : {&collection, &raw}) {
    ASSERT_FALSE(known->import(item, kToday, counts));
    EXPECT_EQ(counts.updated + counts.skipped, 1u);
  }
}

TEST(Import, KnowsItemsAgainAndKeepsTheUsers) {
  const struct {
    std::string text, expected;
    std::size_t index = 0;  // of the item that is looked at
  } rows[] = {
      {"[{\"ASIN\": \"B1\", \"Title\": \"Tides 2\", \"Notes\": \"theirs\", \"EAN\": \"\"}]",
       "read 1, added 0, updated 1\n"
       "status.value=1|status.name=Borrowed|status.text=This item is "
       "Borrowed.|status.due=0|ASIN=B1|Title=Tides "
       "2|Binding=Hardcover|EAN=9780123456786|customFields=Shelf: "
       "1|Notes=mine"},
      {"Title,ISBN,Binding,Publisher\nTIDES!,0-12-345678-9,Paperback,Quay\n",
       "read 1, added 0, updated 1\n"
       "status.value=1|status.name=Borrowed|status.text=This item is "
       "Borrowed.|status.due=0|ASIN=B1|Title=Tides|Binding=Hardcover|Publisher=Quay|EAN="
       "9780123456786|ISBN=0-12-345678-9|customFields=Shelf: 1|Notes=mine"},
      {"title;author;custom\nflow;BO LUND;\n",
       "read 1, added 1, updated 0\n"
       "ASIN=B2|Title=Flow|Binding=Book|ProductGroup=Book|authors=Bo Lund",
       1},
      {"title;author;group;note;custom\nflow;Bo Lund;Book;n;Shelf: 2\n",
       "read 1, added 0, updated 1\n"
       "ASIN=B2|Title=Flow|Binding=Book|ProductGroup=Book|authors=Bo Lund|customFields=Shelf: "
       "2|Notes=n",
       1},
      {"Title\nA\n \"\"\nA\n",
       "read 3, added 2, updated 0\n"
       "ASIN=item-8dfb1243smfb|Title=A|DateAdded=2022-01-01",
       2},
      {"[{\"ASIN\": \"B3\", \"Title\": \"Tides\", \"EAN\": \"9780123456786\", \"DateAdded\": "
       "null}]",
       "read 1, added 1, updated 0\n"
       "ASIN=B3|Title=Tides|EAN=9780123456786",
       2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EditedCollection collection;
    ASSERT_FALSE(collection.parse(kShelf));
    tessaron::ImportCounts counts;
    ASSERT_FALSE(collection.import(*open(memoryFile(row.text)), kToday, counts));
    std::string got = "read " + std::to_string(counts.read) + ", added " +
                      std::to_string(counts.added) + ", updated " + std::to_string(counts.updated);
    ASSERT_LT(row.index, collection.records().size());
    got += '\n' + fieldsOf(collection.records()[row.index]);
    EXPECT_EQ(got, row.expected);
    const std::string before = collection.text();
    ASSERT_FALSE(collection.import(*open(memoryFile(row.text)), kToday, counts));
    EXPECT_EQ(counts.added + counts.updated, 0u);
    EXPECT_EQ(collection.text(), before);
  }
}

TEST(Zip, GivesAnEntryWholeOrTellsWhyNot) {
  const std::string archive = readFile(sample("music.tc"));
  const auto extract = [&](std::string text, const std::string& name, std::uint64_t limit) {
    std::string out;
    const std::unique_ptr<File> file = memoryFile(std::move(text));
    const std::string error =
        tessaron::extractZipEntry(*file, name, limit, [&](std::string_view part) {
          out += part;
          return true;
        });
    return error.empty() ? out : '!' + error;
  };
  const std::string whole = extract(archive, "tellico.xml", 1 << 20);
  EXPECT_TRUE(whole.starts_with("<?xml")) << whole;
  EXPECT_EQ(extract(archive, "no.xml", 1 << 20), "!the archive holds no \"no.xml\"");
  EXPECT_EQ(extract(archive, "tellico.xml", 100), "!it is longer than what is read of it");
  EXPECT_EQ(extract("no zip", "tellico.xml", 100), "!the archive is damaged");
  for (std::size_t at = 0; at < archive.size(); ++at) {
    std::string damaged = archive;
    damaged[at] ^= 0x55;
    const std::string got = extract(damaged, "tellico.xml", 1 << 20);
    EXPECT_TRUE(got == whole || got.starts_with('!')) << "byte " << at;
  }
}

}  // namespace
