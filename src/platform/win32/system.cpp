#include "platform/system.h"

#include <shlobj.h>
#include <uxtheme.h>

#include <algorithm>
#include <cstdint>

#include "platform/directory.h"
#include "platform/win32/wide.h"

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
  char16_t path[MAX_PATH];
  if (SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, wide(path)) !=
      S_OK) {
    return {};
  }
  return joinPath(path, u"Tessaron");
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
