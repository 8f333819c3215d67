#pragma once

#include "mediainfo/property_map.h"
#include "platform/file.h"
#include "tessaron_export.h"

/// Describes the streams of an AVI file from its headers and its index. Stateless: threads may
/// share one.
class TESSARON_API CRiffFileParser {
 public:
  CRiffFileParser();
  CRiffFileParser(const CRiffFileParser&);
  CRiffFileParser& operator=(const CRiffFileParser&);
  ~CRiffFileParser();

  /// Appends one map per stream, at most 19 of each kind, and sets "Data Rate" (40102) and
  /// "Creation Software" (40203) in `metaInfo`. False, and nothing is changed, when the file is no
  /// RIFF file of the form "AVI "; true for one that is, however damaged the rest of it may be.
  bool parseByHandle(tessaron::File& file, PropertyMap& metaInfo, StreamList& audioStreams,
                     StreamList& videoStreams);
};
