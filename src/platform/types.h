#pragma once
// The few system types that stand in the interface. On Windows they are the system's own; elsewhere
// they have the same members, sizes and meaning.

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <cstdint>

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
#endif

static_assert(sizeof(FILETIME) == 8);
static_assert(sizeof(SYSTEMTIME) == 16);
static_assert(sizeof(GUID) == 16);
