#include "platform/standard_streams.h"

#include <algorithm>
#include <string>

#include "platform/types.h"
#include "platform/win32/error.h"
#include "platform/win32/utf8.h"

namespace tessaron {
namespace {

HANDLE handleOf(StandardStream stream) {
  constexpr DWORD kNumbers[] = {STD_INPUT_HANDLE, STD_OUTPUT_HANDLE, STD_ERROR_HANDLE};
  return GetStdHandle(kNumbers[static_cast<int>(stream)]);
}

/// How many bytes at the end begin a character that they do not complete.
std::size_t cutCharacter(std::string_view text) {
  for (std::size_t count = 1; count <= std::min<std::size_t>(3, text.size()); ++count) {
    const auto byte = static_cast<unsigned char>(text[text.size() - count]);
    if ((byte & 0xC0) == 0x80) continue;  // within a character
    const std::size_t length = byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
    return length > count ? count : 0;
  }
  return 0;
}

std::error_code writeToConsole(HANDLE console, std::u16string_view text) {
  constexpr std::size_t kBlock = 8 << 10;  // older consoles refuse 64 KiB
  while (!text.empty()) {
    DWORD count = 0;
    const auto size = static_cast<DWORD>(std::min(text.size(), kBlock));
    if (!WriteConsoleW(console, text.data(), size, &count, nullptr)) return lastError();
    text.remove_prefix(count);
  }
  return {};
}

}  // namespace

void prepareStandardStreams() {}

bool isTerminal(StandardStream stream) {
  DWORD mode = 0;
  return GetConsoleMode(handleOf(stream), &mode);  // nothing but consoles has one
}

std::optional<std::size_t> terminalWidth(StandardStream stream) {
  constexpr std::size_t kUsual = 80;
  if (!isTerminal(stream)) return std::nullopt;
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!GetConsoleScreenBufferInfo(handleOf(stream), &info)) return kUsual;
  const int width = info.srWindow.Right - info.srWindow.Left + 1;
  return width > 0 ? static_cast<std::size_t>(width) : kUsual;
}

bool obeysEscapes(StandardStream stream) {
  constexpr DWORD kEscapes = 0x0004;  // ENABLE_VIRTUAL_TERMINAL_PROCESSING
  DWORD mode = 0;
  const HANDLE console = handleOf(stream);
  if (!GetConsoleMode(console, &mode)) return false;
  return (mode & kEscapes) != 0 || SetConsoleMode(console, mode | kEscapes);
}

std::error_code writeTo(StandardStream stream, std::string_view text) {
  static std::string cut[3];
  const HANDLE handle = handleOf(stream);
  if (isTerminal(stream)) {
    std::string& begun = cut[static_cast<int>(stream)];
    begun += text;
    const std::size_t whole = begun.size() - cutCharacter(begun);
    const std::u16string wide = widened(std::string_view(begun).substr(0, whole));
    begun.erase(0, whole);
    return writeToConsole(handle, wide);
  }
  while (!text.empty()) {
    DWORD count = 0;
    const auto size = static_cast<DWORD>(std::min<std::size_t>(text.size(), 1 << 20));
    if (!WriteFile(handle, text.data(), size, &count, nullptr)) return lastError();
    text.remove_prefix(count);
  }
  return {};
}

void endByBrokenPipe() {}

}  // namespace tessaron
