#pragma once

#include <vector>

#include "tessaron_export.h"
#include "themes/package.h"
#include "themes/theme_scheme.h"

/// A package with schemes. One thread at a time, as for CPackage.
class TESSARON_API CThemePackage : public CPackage {
 public:
  std::vector<CThemeScheme*> schemes;  ///< owned, in document order

  CThemePackage();
  ~CThemePackage();
  /// Copies the schemes.
  CThemePackage(const CThemePackage& other);
  CThemePackage& operator=(const CThemePackage& other);

  /// Replaces the schemes by those of the elements "theme" below the root of the main document.
  /// Deletes the old ones.
  void PostInitialize() override;
};
