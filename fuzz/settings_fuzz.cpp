// Reads settings. Where the first byte is 0, the rest of the input is their file; otherwise it is a
// value, whose type the byte gives.

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz.h"
#include "platform/registry.h"
#include "settings/reg_key.h"

namespace {

namespace fs = std::filesystem;

constexpr const char16_t* kKey = u"Software\\Tessaron\\Options";

std::string contentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A value can be written and read.
void checkUsable(CRegKeyEx& key) {
  std::u16string text = u"text", found;
  CHECK(key.SetStringValueEx(u"Fuzz", text) == 0);
  CHECK(key.QueryStringValueEx(u"Fuzz", found) == 0 && found == text);
}

// So can values of all types, until all are removed.
void checkTypes(const CRegKeyEx& opened) {
  CRegKeyEx key(opened);
  bool flag = true, foundFlag = false;
  int number = -7, foundNumber = 0;
  unsigned long large = 0xFFFFFFFF, foundLarge = 0;
  CRect rect, foundRect;
  rect.right = 3;
  StringSetMap lists = {{u"List", {u"a", u"b"}}}, foundLists = {{u"List", {}}};
  tessaron::RegistryBatch batch(key);
  CHECK(key.SetBoolValueEx(u"Flag", flag) == 0 && key.SetIntValueEx(u"Number", number) == 0);
  CHECK(key.SetDWORDValueEx(u"Large", large) == 0 && key.SetWTLCRectValueEx(u"Rect", rect) == 0);
  CHECK(key.SetMapStringValueEx(lists) == 0 && batch.end() == 0);
  CHECK(key.QueryBoolValueEx(u"Flag", foundFlag) == 0 && foundFlag);
  CHECK(key.QueryIntValueEx(u"Number", foundNumber) == 0 && foundNumber == number);
  CHECK(key.QueryDWORDValueEx(u"Large", foundLarge) == 0 && foundLarge == large);
  CHECK(key.QueryWTLCRectValueEx(u"Rect", foundRect) == 0 && foundRect.right == 3);
  CHECK(key.QueryMapStringValueEx(foundLists) == 0);
  key.RemoveAllValues();
}

// Keys below another are made and deleted; one with keys below it stays.
void checkKeys(const CRegKeyEx& opened) {
  CRegKeyEx key(opened), outer, inner, same;
  CHECK(outer.Create(key.m_hKey, u"Outer") == 0 && inner.Create(outer.m_hKey, u"Inner\\Last") == 0);
  CHECK(key.DeleteSubKey(u"Outer") != 0 && key.DeleteSubKey(u"Outer\\Missing") != 0);
  checkUsable(inner);
  CHECK(outer.DeleteSubKey(u"Inner\\Last") == 0 && outer.DeleteSubKey(u"Inner") == 0);
  CHECK(key.DeleteSubKey(u"OUTER") == 0 && same.Open(key.m_hKey, u"Outer") != 0);
}

void readFile(const fs::path& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
  {
    CRegKeyEx key;
    std::u16string text;
    StringSetMap lists;
    if (key.Open(HKEY_CURRENT_USER, kKey, KEY_READ) == 0) {
      key.QueryStringValueEx(u"AccountEmail", text);
      key.QueryMapStringValueEx(lists);
    }
  }
  CHECK(contentOf(path) == content);
  CRegKeyEx key;
  const std::int32_t code = key.Create(HKEY_CURRENT_USER, kKey);
  const std::u16string quarantined = tessaron::takeQuarantinedStore();
  if (!quarantined.empty()) CHECK(contentOf(quarantined) == content);
  // A file with the right tables may still be damaged where the value goes.
  std::u16string text = u"text";
  if (code != 0)
    CHECK(!quarantined.empty() || contentOf(path) == content);
  else if (quarantined.empty())
    key.SetStringValueEx(u"Fuzz", text);
  else
    checkUsable(key);
}

void readValue(std::uint32_t type, const std::string& bytes) {
  CRegKeyEx key;
  CHECK(key.Create(HKEY_CURRENT_USER, kKey) == 0);
  if (key.SetValue(u"Value", type, bytes.data(), static_cast<std::uint32_t>(bytes.size())) != 0)
    return;
  bool flag = false;
  int number = 0;
  unsigned long large = 0;
  CRect rect;
  std::u16string text;
  std::vector<bool> flags(bytes.size());
  std::vector<std::u16string> texts;
  StringSetMap lists;
  key.QueryBoolValueEx(u"Value", flag);
  key.QueryIntValueEx(u"Value", number);
  key.QueryDWORDValueEx(u"Value", large);
  key.QueryWTLCRectValueEx(u"Value", rect);
  const std::int32_t flagCode = key.QueryVectorBoolValueEx(u"Value", flags);
  key.QueryMapStringValueEx(lists);
  // What was read is written and read as the same.
  if (key.QueryStringValueEx(u"Value", text) == 0) {
    std::u16string again;
    CHECK(key.SetStringValueEx(u"Again", text) == 0);
    CHECK(key.QueryStringValueEx(u"Again", again) == 0 && again == text);
  }
  if (key.QueryVectorStringValueEx(u"Value", texts) == 0 && !texts.empty()) {
    std::vector<std::u16string> again;
    CHECK(key.SetVectorStringValueEx(u"Again", texts) == 0);
    CHECK(key.QueryVectorStringValueEx(u"Again", again) == 0 && again == texts);
  }
  if (flagCode == 0 && !flags.empty()) {
    std::vector<bool> again(flags.size());
    CHECK(key.SetVectorBoolValueEx(u"Again", flags) == 0);
    CHECK(key.QueryVectorBoolValueEx(u"Again", again) == 0 && again == flags);
  }
  checkUsable(key);
  if (bytes.size() % 4 == 0) checkTypes(key);
  if (bytes.size() % 4 == 1) checkKeys(key);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path folder =
      fs::temp_directory_path() / ("settings_fuzz." + std::to_string(getpid()));
  static const fs::path path = folder / "settings.db";
  if (size == 0) return 0;
  const std::string content = asText(data + 1, size - 1);
  setenv("TESSARON_SETTINGS", path.c_str(), 1);
  if (data[0] == 0) {
    fs::remove_all(folder);
    fs::create_directories(folder);
    readFile(path, content);
    fs::remove_all(folder);
  } else {
    fs::create_directories(folder);
    readValue(data[0] & 7u, content);
  }
  return 0;
}
