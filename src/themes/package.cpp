#include "themes/package.h"

#include <algorithm>
#include <iterator>

#include "support/xml/xml.h"
#include "themes/package_reader_internal.h"

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

void CPackage::Initialize(std::u16string destination, bool extractAll) {
  const std::unique_ptr<tessaron::File> file = open();
  if (file) tessaron::PackageReader(*this, *file).unpack(destination, extractAll);
  finish();
}

void CPackage::Initialize(tessaron::File& file, std::u16string destination, bool extractAll) {
  start();
  tessaron::PackageReader(*this, file).unpack(destination, extractAll);
  finish();
}

void CPackage::Inspect(bool readAll) {
  const std::unique_ptr<tessaron::File> file = open();
  if (file) tessaron::PackageReader(*this, *file).inspect(readAll);
  finish();
}

void CPackage::Inspect(tessaron::File& file, bool readAll) {
  start();
  tessaron::PackageReader(*this, file).inspect(readAll);
  finish();
}

void CPackage::Measure() {
  const std::unique_ptr<tessaron::File> file = open();
  if (file) tessaron::PackageReader(*this, *file).measure();
  finish();
}

void CPackage::Measure(tessaron::File& file) {
  start();
  tessaron::PackageReader(*this, file).measure();
  finish();
}

void CPackage::start() {
  report = {};
  extractionFolder.clear();
}

std::unique_ptr<tessaron::File> CPackage::open() {
  start();
  return tessaron::openFile(path, {}, report.openError);
}

void CPackage::finish() {
  PreInitialize();
  PostInitialize();
}

void CPackage::PreInitialize() {
  TiXmlElement* root = mainDocument->RootElement();
  if (!root) return;
  for (auto info = root->FirstChildElement("info"); info; info = info->NextSiblingElement("info")) {
    for (auto child = info->FirstChildElement(); child; child = child->NextSiblingElement()) {
      parseTextNode(child, "author", author) || parseTextNode(child, "email", email) ||
          parseTextNode(child, "url", url) || parseTextNode(child, "name", name) ||
          parseTextNode(child, "description", description);
    }
  }
}
