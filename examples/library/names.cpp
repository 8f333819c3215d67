// Sorts the names on the command line as a library does: names NAME...
#include <tessaron/settings/collation.h>
#include <tessaron/support/text.h>

#include <algorithm>
#include <iostream>

int main(int argc, char** argv) {
  CCollationSystem::m_nOption = 0;  // or CCollationSystem::ApplyToRecord, which asks the settings
  std::vector<std::u16string> names;
  for (int i = 1; i < argc; ++i) names.push_back(utf82wchar(argv[i]));
  CCollationSystem::ConvertNames(names);
  std::ranges::sort(names, [](const std::u16string& a, const std::u16string& b) {
    return CCollationSystem::CompareStringW(a.c_str(), b.c_str(), 1) < 0;
  });
  for (const std::u16string& name : names) std::cout << wchar2utf8(name) << '\n';
}
