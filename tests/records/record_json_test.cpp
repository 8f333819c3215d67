#include "records/record_json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <variant>

#include "records/record_cells.h"
#include "records/record_fields.h"
#include "support/dos_date.h"
#include "support/record_samples.h"
#include "support/text.h"

namespace {

using nlohmann::ordered_json;
using tessaron::JsonWriter;
using tessaron::toDosDate;
using tessaron::toUtf8;

const SYSTEMTIME kNow{2024, 6, 1, 10, 12, 0, 0, 0};

std::string textOf(const CRecord& record) {
  std::string text;
  JsonWriter json(text);
  writeRecord(record, kNow, json);
  return text;
}

// Another library's print of the same document, with what terminals obey escaped.
std::string reprinted(const ordered_json& document) {
  std::string text = document.dump(2);
  const auto replaceAll = [&](const std::string& what, const std::string& by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size())
      text.replace(at, what.size(), by);
  };
  replaceAll("\x7F", "\\u007f");
  replaceAll("\xC2\x85", "\\u0085");
  return text;
}

std::string cellOf(const ordered_json& value) {
  if (value.is_null()) return {};
  if (value.is_string()) return value.get<std::string>();
  if (!value.is_structured()) return value.dump();
  std::string out, separator;
  for (const ordered_json& part : value) {
    out += separator + cellOf(part);
    separator = value.is_object() ? ": " : part.is_array() ? "\n" : "; ";
  }
  return out;
}

TEST(RecordJson, HoldsEveryFieldOfEveryRecord) {
  for (std::uint32_t seed = 0; seed < 200; ++seed) {
    CRecord record = tessaron::randomRecord(seed);
    if (seed % 2) record.StatusEndDate = toDosDate(2024, 6, 11);
    const std::string text = textOf(record);
    const ordered_json json = ordered_json::parse(text);
    ASSERT_EQ(text, reprinted(json)) << "seed " << seed;
    auto member = json.begin();
    for (const tessaron::Field& field : tessaron::kFields) {
      if (field.isPart) continue;
      ASSERT_NE(member, json.end());
      ASSERT_EQ(member.key(), field.name);
      const ordered_json& value = *member++;
      if (const auto* plain = std::get_if<tessaron::TextMember>(&field.member)) {
        EXPECT_EQ(value, toUtf8(record.**plain)) << field.name;
      } else if (const auto* list = std::get_if<tessaron::ListMember>(&field.member)) {
        ASSERT_EQ(value.size(), (record.**list).size()) << field.name;
        for (std::size_t i = 0; i < value.size(); ++i)
          EXPECT_EQ(value[i], toUtf8((record.**list)[i])) << field.name;
      }
    }
    EXPECT_EQ(member, json.end());

    for (const std::string& name : tessaron::recordColumns()) {
      const std::size_t dot = name.find('.');
      const ordered_json& owner = json.at(name.substr(0, dot));
      const bool isPart = dot != name.npos;
      const ordered_json value = !isPart           ? owner
                                 : owner.is_null() ? owner
                                                   : owner.at(name.substr(dot + 1));
      std::string cell = "before ";
      appendCell(record, tessaron::recordColumn(name), kNow, cell);
      EXPECT_EQ(cell, "before " + cellOf(value)) << name << ", seed " << seed;
    }
  }
}

TEST(RecordJson, TellsWhatIsNoText) {
  CRecord record;
  ordered_json json = ordered_json::parse(textOf(record));
  EXPECT_TRUE(json["icon"].is_null() && json["status"].is_null() && json["DateAdded"].is_null());
  EXPECT_EQ(json["customFields"], ordered_json::array());

  record.hasIcon = record.hasStatus = true;
  record.icon = -3;
  record.StatusTarget = u"Mo";
  record.StatusBeginDate = toDosDate(1999, 12, 31);
  record.StatusEndDate = toDosDate(2024, 6, 11);
  record.DateAdded = 0xFFFF;  // no date that exists
  record.customFieldNames[0] = u"n";
  record.customFieldValues[4] = u"v";
  record.folders.resize(1);
  record.folders[0].path = u"a";
  record.folders[0].files.resize(1);
  record.folders[0].files[0].name = u"\u0085\"";
  record.folders[0].files[0].sizeHigh = 1;
  std::string text = "[";
  JsonWriter nested(text, 1);
  writeRecord(record, kNow, nested);
  EXPECT_EQ(text.substr(1, 14), "{\n    \"icon\": ") << "one level deeper";
  json = ordered_json::parse(text + ']')[0];
  EXPECT_EQ(json["icon"], -3);
  EXPECT_EQ(json["status"], (ordered_json{{"value", 0},
                                          {"name", "Lent"},
                                          {"target", "Mo"},
                                          {"begin", "1999-12-31"},
                                          {"end", "2024-06-11"},
                                          {"text", toUtf8(tessaron::statusText(record))},
                                          {"due", 1}}));
  EXPECT_TRUE(json["DateAdded"].is_null());
  EXPECT_EQ(json["customFields"].dump(), R"([{"name":"n","value":""},{"name":"","value":"v"}])");
  EXPECT_EQ(
      json["folders"].dump(),
      "[{\"id\":0,\"parentId\":-1,\"path\":\"a\",\"files\":[{\"path\":\"\",\"name\":\"\xC2\x85"
      "\\\"\",\"size\":4294967296}]}]");
}

}  // namespace
