#include "themes/theme_package.h"

#include <utility>

CThemePackage::CThemePackage() = default;

CThemePackage::~CThemePackage() {
  for (const CThemeScheme* scheme : schemes) delete scheme;
}

CThemePackage::CThemePackage(const CThemePackage& other) : CPackage(other) {
  for (const CThemeScheme* scheme : other.schemes) schemes.push_back(new CThemeScheme(*scheme));
}

CThemePackage& CThemePackage::operator=(const CThemePackage& other) {
  CThemePackage copy(other);
  CPackage::operator=(other);
  std::swap(schemes, copy.schemes);
  return *this;
}

void CThemePackage::PostInitialize() {
  for (const CThemeScheme* scheme : schemes) delete scheme;
  schemes.clear();
  TiXmlElement* root = mainDocument->RootElement();
  if (!root) return;
  for (auto child = root->FirstChildElement("theme"); child;
       child = child->NextSiblingElement("theme"))
    schemes.push_back(new CThemeScheme(child));
}
