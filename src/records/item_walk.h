#pragma once

#include <tinyxml.h>

#include <string>

namespace tessaron {

/// Calls `visit(item, version)` for every item of a document, in order: a "Details" below the root
/// is in the dialect of version 3, an "Item" below one of the root's "Items" in that of version 4.
/// Stops as soon as `visit` returns true; returns whether it did.
template <typename Visit>
bool forEachItem(TiXmlDocument& document, Visit visit) {
  TiXmlElement* root = document.RootElement();
  if (!root) return false;
  for (TiXmlElement* child = root->FirstChildElement(); child;
       child = child->NextSiblingElement()) {
    if (child->ValueStr() == "Details") {
      if (visit(*child, 3)) return true;
    } else if (child->ValueStr() == "Items") {
      for (TiXmlElement* item = child->FirstChildElement("Item"); item;
           item = item->NextSiblingElement("Item")) {
        if (visit(*item, 4)) return true;
      }
    }
  }
  return false;
}

}  // namespace tessaron
