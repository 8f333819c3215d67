// Lists the themes of a folder, and the schemes of the first one: themes FOLDER
#include <tessaron/support/text.h>
#include <tessaron/themes/theme_manager.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  CThemeMan themes(utf82wchar(argv[1]));
  const std::vector<std::u16string> packages = themes.packages();
  for (const std::u16string& file : packages) std::cout << wchar2utf8(file) << '\n';
  if (packages.empty() || !themes.select(packages.front(), 0)) return 1;
  for (const CThemeScheme* scheme : themes.package().schemes)
    std::cout << "  " << wchar2utf8(scheme->name) << '\n';
}
