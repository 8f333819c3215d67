#include "themes/package.h"

#include <algorithm>
#include <iterator>

#include "support/xml.h"

CPackage::CPackage() : index(new TiXmlDocument), mainDocument(new TiXmlDocument) {}

CPackage::~CPackage() {
  delete index;
  delete mainDocument;
}

CPackage::CPackage(const CPackage& other) : CPackage() { *this = other; }

CPackage& CPackage::operator=(const CPackage& other) {
  if (this == &other) return *this;
  path = other.path;
  reserved = other.reserved;
  author = other.author;
  email = other.email;
  url = other.url;
  name = other.name;
  description = other.description;
  std::ranges::copy(other.identifier, identifier);
  std::ranges::copy(other.identifierText, identifierText);
  extractionFolder = other.extractionFolder;
  *index = *other.index;
  *mainDocument = *other.mainDocument;
  report = other.report;
  return *this;
}

void CPackage::Initialize(std::u16string, bool) {
  PreInitialize();
  PostInitialize();
}

void CPackage::PreInitialize() {
  const TiXmlElement* root = mainDocument->RootElement();
  if (!root) return;
  for (auto info = root->FirstChildElement("info"); info; info = info->NextSiblingElement("info")) {
    for (auto child = info->FirstChildElement(); child; child = child->NextSiblingElement()) {
      auto* element = const_cast<TiXmlElement*>(child);
      parseTextNode(element, "author", author) || parseTextNode(element, "email", email) ||
          parseTextNode(element, "url", url) || parseTextNode(element, "name", name) ||
          parseTextNode(element, "description", description);
    }
  }
}
