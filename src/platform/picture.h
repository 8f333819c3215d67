#pragma once
// Decoded pictures. The class with drawing support exists on Windows only; elsewhere its base, which
// carries the pixels, goes by the same name.

#include "platform/types.h"  // before FreeImagePlus, which includes <windows.h>

#include <FreeImagePlus.h>

#ifndef _WIN32
using fipWinImage = fipImage;
#endif
