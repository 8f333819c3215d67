#pragma once

#include <vector>

#include "tessaron_export.h"
#include "themes/package.h"
#include "themes/theme_scheme.h"

/// A package with schemes.
class TESSARON_API CThemePackage : public CPackage {
 public:
  std::vector<CThemeScheme*> schemes;  ///< owned, in document order

  CThemePackage();
  ~CThemePackage();
  /// A copy has schemes of its own.
  CThemePackage(const CThemePackage& other);
  CThemePackage& operator=(const CThemePackage& other);

  /// Makes a scheme of every element "theme" below the root of the main document, in place of those
  /// that were there. Pointers to the old ones end.
  void PostInitialize() override;
};
