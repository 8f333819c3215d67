#pragma once
// Names for the numbers of the string table that label media properties, the keys of the property
// maps, and for those whose texts are values.

#include <cstdint>

namespace tessaron::label {

// clang-format off
/// Labels of pictures.
enum Picture : std::uint32_t { kResolution = 40001, kColor, kDimensions };

/// Labels of audio and video streams and of the files that hold them.
enum Stream : std::uint32_t {
  kFormat = 40101, kDataRate, kChannels, kSample, kMode, kRunTime, kFrameRate, kAspectRatio,
  kCodecProfile, kBitDepth, kDynamicRange, kRotation, kChannelLayout, kFrameRateMode
};

/// Values: "Layer 3" is what follows "MPEG-1 " in a format, the others are modes.
enum Mpeg : std::uint32_t {
  kLayer1 = 40151, kLayer2, kLayer3, kStereo, kJointStereo, kDualChannel, kMono
};

/// Labels of the properties that camera and drawing program write into a picture.
enum PictureProperty : std::uint32_t {
  kPictureTitle = 40201, kDescription, kCreationSoftware, kPictureAuthor, kPictureCopyright,
  kPictureComment, kSubject, kKeywords, kCameraMake, kCameraModel, kLensModel, kDateModified,
  kDateTaken, kDateDigitized, kOrientation, kExposureTime, kFNumber, kExposureProgram, kIsoSpeed,
  kShutterSpeed, kAperture, kBrightness, kExposureBias, kMaximumAperture, kSubjectDistance,
  kMeteringMode, kLightSource, kFlash, kFlashEnergy, kFocalLength, kFocalLengthIn35mm,
  kExposureMode, kWhiteBalance, kDigitalZoom, kColorSpace, kExifVersion, kLatitude, kLongitude,
  kAltitude
};

/// Labels of the tags of audio and video files.
enum Tag : std::uint32_t {
  kTitle = 40301, kAuthor, kAlbum, kYear, kTrack, kGenre, kCopyright, kComment, kRating,
  kAlbumArtist, kComposer, kConductor, kDirector, kProducer, kWriter, kPublisher, kSubtitle,
  kContentGroup, kPartOfSet, kMood, kLyrics, kLanguage, kInitialKey, kBeatsPerMinute, kIsrc,
  kPeriod, kParentalRating, kOriginalAlbum, kOriginalArtist, kOriginalWriter, kOriginalYear,
  kProvider, kRadioStation, kRadioStationOwner, kAuthorWebPage, kFileWebPage, kSourceWebPage,
  kPromotionWebPage, kUserWebPage, kEncodedBy, kEncodingSettings, kEncodingTime, kEncodingTool,
  kDistributor, kRemixedBy, kIdentifier
};

/// Labels of what the content of a file tells, whatever its kind.
enum Content : std::uint32_t {
  kKind = 40401, kCovers, kChapters, kChapterTitles, kAudioLanguages, kSubtitleLanguages,
  kDateCreated, kSeries, kSeason, kEpisode, kIsbn, kPages, kPageSize, kEntries, kUnpackedSize,
  kFrames, kVersion, kProtection, kBarCode, kAsin
};

/// Values of picture properties.
enum PictureValue : std::uint32_t {
  kUnknown = 40501, kOther,
  kManual, kNormalProgram, kAperturePriority, kShutterPriority, kCreativeProgram, kActionProgram,
  kPortraitMode, kLandscapeMode,
  kAverage, kCenterWeightedAverage, kSpot, kMultiSpot, kPattern, kPartial,
  kDaylight, kFluorescent, kTungsten, kFlashLight, kFineWeather, kCloudy, kShade,
  kDidNotFire, kFired, kAuto, kForced, kRedEyeReduction,
  kNormal, kMirrored, kRotated90Clockwise, kRotated180, kRotated90Counterclockwise
};

/// Values of what the content tells.
enum ContentValue : std::uint32_t { kVariable = 40534, kEncrypted };
// clang-format on

static_assert(kFrameRateMode == 40114 && kAsin == 40420 && kEncrypted == 40535);
static_assert(kAltitude == 40239 && kIdentifier == 40346 && kRotated90Counterclockwise == 40533);

}  // namespace tessaron::label
