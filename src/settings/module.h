#pragma once
// Samples by which an application can tell that it is linked to the library.

#include "tessaron_export.h"

/// Always 42.
TESSARON_API int fnTessaronBF();

/// The library itself neither reads nor writes it; 0 at the start.
extern TESSARON_API int nTessaronBF;

/// An empty class, for any thread.
class TESSARON_API CTessaronBF {
 public:
  CTessaronBF();
  CTessaronBF(const CTessaronBF&);
  CTessaronBF& operator=(const CTessaronBF&);
  ~CTessaronBF();
};
