#pragma once
// Decoded pictures. The class with drawing support exists on Windows only; elsewhere its base,
// which carries the pixels, goes by the same name.

#include <FreeImagePlus.h>

#include "platform/types.h"  // before FreeImagePlus, which includes <windows.h>

#ifndef _WIN32
using fipWinImage = fipImage;
#endif
