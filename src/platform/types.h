#pragma once
// The few system types that stand in the interface. On Windows they are the system's own; elsewhere
// they have the same members, sizes and meaning.

#include <cstdint>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
/// A point in time: 100-nanosecond steps since 1601-01-01 00:00 UTC, in two halves.
struct FILETIME {
  std::uint32_t dwLowDateTime;
  std::uint32_t dwHighDateTime;
};

/// A calendar date and time of day. `wMonth` counts from 1, `wDayOfWeek` from 0 (Sunday).
struct SYSTEMTIME {
  std::uint16_t wYear;
  std::uint16_t wMonth;
  std::uint16_t wDayOfWeek;
  std::uint16_t wDay;
  std::uint16_t wHour;
  std::uint16_t wMinute;
  std::uint16_t wSecond;
  std::uint16_t wMilliseconds;
};

/// A globally unique identifier, as the system lays it out.
struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using CLSID = GUID;

/// A color: red in the lowest byte, then green, then blue.
using COLORREF = std::uint32_t;

// What the functions that give the system's error codes use, as Windows numbers them.
inline constexpr std::int32_t ERROR_SUCCESS = 0;
inline constexpr std::int32_t ERROR_FILE_NOT_FOUND = 2;
inline constexpr std::int32_t ERROR_PATH_NOT_FOUND = 3;
inline constexpr std::int32_t ERROR_ACCESS_DENIED = 5;
inline constexpr std::int32_t ERROR_INVALID_HANDLE = 6;
inline constexpr std::int32_t ERROR_INVALID_DATA = 13;
inline constexpr std::int32_t ERROR_INVALID_PARAMETER = 87;
inline constexpr std::int32_t ERROR_DISK_FULL = 112;
inline constexpr std::int32_t ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr std::int32_t ERROR_BUSY = 170;
inline constexpr std::int32_t ERROR_ALREADY_EXISTS = 183;
inline constexpr std::int32_t ERROR_MORE_DATA = 234;
inline constexpr std::int32_t ERROR_NO_MORE_ITEMS = 259;
inline constexpr std::int32_t ERROR_BADDB = 1009;
inline constexpr std::int32_t ERROR_CANTOPEN = 1011;
inline constexpr std::int32_t ERROR_REGISTRY_IO_FAILED = 1016;
inline constexpr std::int32_t ERROR_NOT_REGISTRY_FILE = 1017;
inline constexpr std::int32_t ERROR_REVISION_MISMATCH = 1306;
#endif

/// A rectangle with the layout of the system's own.
struct CRect {
  std::int32_t left = 0;
  std::int32_t top = 0;
  std::int32_t right = 0;
  std::int32_t bottom = 0;
  bool operator==(const CRect&) const = default;
};

static_assert(sizeof(FILETIME) == 8);
static_assert(sizeof(SYSTEMTIME) == 16);
static_assert(sizeof(GUID) == 16);
static_assert(sizeof(CRect) == 16);
