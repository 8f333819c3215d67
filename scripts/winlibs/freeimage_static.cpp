// What a static FreeImage needs beyond its own sources.
#include "FreeImage.h"
#include "Utilities.h"

#include "Plugin.h"

// A FREE_IMAGE_FORMAT is a position in the list of plug-ins, so each one whose library is not built
// leaves a stand-in that neither reads nor writes. FreeImage insists on its name and extensions.
#define LEFT_OUT(ID, NAME, EXTENSIONS)                                      \
  void DLL_CALLCONV Init##ID(Plugin* plugin, int) {                         \
    plugin->format_proc = []() -> const char* { return NAME; };             \
    plugin->extension_proc = []() -> const char* { return EXTENSIONS; };    \
  }

LEFT_OUT(EXR, "EXR", "exr")
LEFT_OUT(J2K, "J2K", "j2k,j2c")
LEFT_OUT(JP2, "JP2", "jp2")
LEFT_OUT(RAW, "RAW", "raw")
#ifndef FREEIMAGE_WEBP
LEFT_OUT(WEBP, "WebP", "webp")
#endif
LEFT_OUT(JXR, "JPEG-XR", "jxr,wdp,hdp")

// The shared library starts by itself, a static one waits for the program to do it. TRUE: local
// plug-ins only, so that no plug-in is ever loaded from the program's folder.
static const struct Startup {
  Startup() { FreeImage_Initialise(TRUE); }
  ~Startup() { FreeImage_DeInitialise(); }
} startup;
