#include "mediainfo/folder_info.h"

#include "platform/system.h"
#include "support/xml.h"

bool CFolderInfo::fromElem(TiXmlElement*) { return true; }

bool CFolderInfo::toElem(TiXmlElement* elem) {
  if (!tessaron::isReadable(elem)) return false;
  elem->SetAttribute("ID", id);
  elem->SetAttribute("ParentID", parentId);
  for (CFileInfo& file : files) file.toElem(tessaron::appendElement(*elem, "File"));
  return true;
}
