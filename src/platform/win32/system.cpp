#include "platform/system.h"

#include <knownfolders.h>
#include <shellapi.h>
#include <shlobj.h>
#include <uxtheme.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>

#include "platform/directory.h"
#include "platform/win32/utf8.h"

namespace tessaron {

SYSTEMTIME utcNow() {
  SYSTEMTIME time;
  GetSystemTime(&time);
  return time;
}

SYSTEMTIME localNow() {
  SYSTEMTIME time;
  GetLocalTime(&time);
  return time;
}

std::vector<std::string> commandLine(int, char**) {
  std::vector<std::string> words;
  int count = 0;
  wchar_t** const wideWords = CommandLineToArgvW(GetCommandLineW(), &count);
  if (!wideWords) throw std::bad_alloc();
  words.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i)
    words.push_back(narrowed(reinterpret_cast<const char16_t*>(wideWords[i])));
  LocalFree(wideWords);
  return words;
}

std::u16string withSystemSeparators(std::u16string path) {
  std::ranges::replace(path, u'/', u'\\');
  return path;
}

bool replacesOpenFiles() { return false; }

std::string environmentVariable(const char* name) {
  const std::u16string wideName = widened(name);
  std::u16string value(MAX_PATH, u'\0');
  DWORD size = 0;
  // The size that a value needs includes its NUL.
  while ((size = GetEnvironmentVariableW(wide(wideName), wide(value.data()),
                                         static_cast<DWORD>(value.size()))) > value.size())
    value.resize(size);
  value.resize(size);
  return narrowed(value);
}

bool isWriteError(const std::error_code& error) {
  return error == std::errc::io_error || error == std::errc::no_space_on_device ||
         error == std::errc::file_too_large ||
         error == std::error_code(ERROR_NOT_ENOUGH_QUOTA, std::system_category());
}

std::FILE* openTemporaryFile() {
  const std::u16string name = temporaryFileName(temporaryFolder(), u"tes", 0);
  if (name.empty()) {
    errno = EACCES;
    return nullptr;
  }
  return _wfopen(wide(name), L"w+bTD");  // short-lived, deleted when it is closed
}

bool seekFile(std::FILE* file, std::uint64_t offset) {
  return _fseeki64(file, static_cast<std::int64_t>(offset), SEEK_SET) == 0;
}

bool isReadable(const void* address, std::size_t size) {
  if (!address) return false;
  auto at = reinterpret_cast<std::uintptr_t>(address);
  const std::uintptr_t last = at + (size > 0 ? size : 1) - 1;
  if (last < at) return false;
  while (at <= last) {
    MEMORY_BASIC_INFORMATION region;
    if (VirtualQuery(reinterpret_cast<const void*>(at), &region, sizeof region) == 0) return false;
    if (region.State != MEM_COMMIT || (region.Protect & (PAGE_NOACCESS | PAGE_GUARD)) != 0) {
      return false;
    }
    const std::uintptr_t end =
        reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
    if (end <= at) break;  // the region ends with the address space
    at = end;
  }
  return true;
}

std::u16string programFolder() {
  std::u16string path(MAX_PATH, u'\0');
  for (;;) {
    const DWORD size = static_cast<DWORD>(path.size());
    const DWORD length = GetModuleFileNameW(nullptr, wide(path.data()), size);
    if (length < size) {
      path.resize(length);
      break;
    }
    path.resize(path.size() * 2);
  }
  const std::size_t end = lastSeparator(path);
  return end == std::u16string::npos ? std::u16string() : path.substr(0, end);
}

std::u16string stateFolder() {
  wchar_t* path = nullptr;
  const HRESULT result = SHGetKnownFolderPath(FOLDERID_LocalAppData, 0, nullptr, &path);
  std::u16string folder;
  if (result == S_OK) folder = joinPath(reinterpret_cast<const char16_t*>(path), u"Tessaron");
  CoTaskMemFree(path);
  return folder;
}

std::u16string temporaryFolder() {
  char16_t path[MAX_PATH + 1];
  const DWORD length = GetTempPathW(MAX_PATH + 1, wide(path));
  return length <= MAX_PATH ? std::u16string(path, length) : std::u16string();
}

std::u16string temporaryFileName(std::u16string_view folder, std::u16string_view prefix,
                                 std::uint32_t number) {
  char16_t path[MAX_PATH];
  const std::u16string where(folder), start(prefix);
  return GetTempFileNameW(wide(where), wide(start), number, wide(path)) != 0 ? path
                                                                             : std::u16string();
}

COLORREF systemColor(SystemColor part) { return GetSysColor(static_cast<int>(part)); }

int verticalScrollBarWidth() { return GetSystemMetrics(SM_CXVSCROLL); }

int screenBitsPerPixel() {
  const HDC screen = GetDC(nullptr);
  const int bits = GetDeviceCaps(screen, BITSPIXEL);
  ReleaseDC(nullptr, screen);
  return bits;
}

bool isThemeApplied() { return IsThemeActive() && IsAppThemed(); }

}  // namespace tessaron
