// Converts a text from the system's code page to UTF-8, and repairs one that was decoded twice:
// repair TEXT
#include <tessaron/support/text.h>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::u16string text = char2wchar(argv[1]);
  fixunicode(text);
  std::cout << wchar2utf8(text) << '\n';
}
