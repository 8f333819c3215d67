// Calls what a program would call of the library, with one of the names below, and exits with 74
// and a message when that reports a failure.

#include <cstdio>
#include <new>
#include <string_view>

#include "graphics/image_cache.h"
#include "records/record_set.h"
#include "settings/config.h"
#include "themes/package.h"

namespace {

struct Package : CPackage {
  void PostInitialize() override {}
};

bool save() {
  CRecordSet set;
  std::error_code error;
  if (!set.fromFile(u"shelf.xml")) return false;
  set.records.pop_back();
  return set.saveTo(u"shelf.xml", error);
}

bool change() {
  Config config;
  if (config.Initialize() != 0) return false;
  config.AccountEmail = u"me@example.org";
  config.customStringLists[u"Shelves"] = {u"a", u"b"};
  return config.Uninitialize() == 0;
}

bool setValue() {
  CRegKeyEx key;
  std::u16string value = u"me@example.org";
  return key.Create(HKEY_CURRENT_USER, u"Software\\Tessaron\\Options") == 0 &&
         key.SetStringValueEx(u"AccountEmail", value) == 0;
}

bool unpack() {
  Package package;
  package.path = u"theme.tpk";
  package.Initialize(u"out", true);
  return package.report.problems.empty() && !package.report.openError &&
         package.report.failure == tessaron::PackageReport::Failure::None;
}

// Nothing tells whether closing a cache worked.
bool cache() {
  const unsigned char bytes[64] = {1, 2, 3};
  CImageCacheMan images(u"c.db");
  return images.isOpen() && images.saveToCache(bytes, sizeof bytes, bytes, nullptr, 1, u"tag");
}

}  // namespace

int main(int, char** arguments) {
  const std::string_view name = arguments[1];
  bool isDone = false;
  try {
    isDone = name == "save"     ? save()
             : name == "change" ? change()
             : name == "value"  ? setValue()
             : name == "unpack" ? unpack()
                                : cache();
  } catch (const std::bad_alloc&) {
  }
  if (isDone) return 0;
  std::fputs("tessaron: it failed\n", stderr);
  return 74;
}
