#pragma once
// Decoded pictures. The class with drawing support exists on Windows only; elsewhere its base,
// which carries the pixels, goes by the same name.

// clang-format off
#include "platform/types.h"  // <windows.h>, on which the next one stands
#include <FreeImagePlus.h>
// clang-format on

#ifndef _WIN32
using fipWinImage = fipImage;
#endif
