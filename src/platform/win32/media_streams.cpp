#include "platform/media_streams.h"

#include <dshow.h>
#include <dvdmedia.h>
#include <mmreg.h>
#include <qedit.h>

#include <numeric>

#include "platform/win32/wide.h"

namespace tessaron {
namespace {

/// Initializes COM on this thread, as long as it lives.
class Apartment {
 public:
  Apartment() : result_(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
  ~Apartment() {
    if (SUCCEEDED(result_)) CoUninitialize();
  }
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;

 private:
  HRESULT result_;  // a failure when the thread uses COM already, in another mode, which works, too
};

class Detector {
 public:
  Detector() {
    constexpr CLSID kMediaDet = {
        0x65BD0711, 0x24D2, 0x4FF7, {0x93, 0x24, 0xED, 0x2E, 0x5D, 0x3A, 0xBA, 0xFA}};
    void* found = nullptr;
    if (SUCCEEDED(CoCreateInstance(kMediaDet, nullptr, CLSCTX_INPROC_SERVER, __uuidof(IMediaDet),
                                   &found))) {
      detector_ = static_cast<IMediaDet*>(found);
    }
  }
  ~Detector() {
    if (detector_) detector_->Release();
  }
  Detector(const Detector&) = delete;
  Detector& operator=(const Detector&) = delete;

  bool open(const std::u16string& path) {
    if (!detector_) return false;
    const BSTR name = SysAllocString(wide(path));
    const bool opened = name && SUCCEEDED(detector_->put_Filename(name));
    SysFreeString(name);
    return opened;
  }
  IMediaDet* operator->() const { return detector_; }

 private:
  IMediaDet* detector_ = nullptr;
};

struct MediaType : AM_MEDIA_TYPE {
  MediaType() : AM_MEDIA_TYPE() {}
  ~MediaType() {
    CoTaskMemFree(pbFormat);
    if (pUnk) pUnk->Release();
  }
  MediaType(const MediaType&) = delete;
  MediaType& operator=(const MediaType&) = delete;

  // Returns the format block, or null when it is of another kind or too short.
  template <typename Block>
  const Block* block(const GUID& kind) const {
    if (formattype != kind || cbFormat < sizeof(Block)) return nullptr;
    return reinterpret_cast<const Block*>(pbFormat);
  }
};

void describePicture(const BITMAPINFOHEADER& header, MediaStream& to) {
  to.codes[0] = header.biCompression;
  to.width = header.biWidth > 0 ? static_cast<std::uint32_t>(header.biWidth) : 0;
  const auto height = static_cast<std::uint32_t>(header.biHeight);
  to.height = height >> 31 ? 0 - height : height;  // negative for rows from top to bottom
}

void describeVideo(const MediaType& type, MediaStream& to) {
  const auto* first = type.block<VIDEOINFOHEADER>(FORMAT_VideoInfo);
  if (!first) first = type.block<VIDEOINFOHEADER>(FORMAT_MPEGVideo);
  const auto* second = type.block<VIDEOINFOHEADER2>(FORMAT_VideoInfo2);
  if (!second) second = type.block<VIDEOINFOHEADER2>(FORMAT_MPEG2Video);
  to.codes[1] = type.subtype.Data1;
  if (first) {
    describePicture(first->bmiHeader, to);
    to.bitRate = first->dwBitRate;
  } else if (second) {
    describePicture(second->bmiHeader, to);
    to.bitRate = second->dwBitRate;
    const DWORD common = std::gcd(second->dwPictAspectRatioX, second->dwPictAspectRatioY);
    if (common > 0) {
      to.aspectX = second->dwPictAspectRatioX / common;
      to.aspectY = second->dwPictAspectRatioY / common;
    }
  }
}

void describeAudio(const MediaType& type, MediaStream& to) {
  to.codes[1] = type.subtype.Data1;
  const auto* wave = type.block<WAVEFORMATEX>(FORMAT_WaveFormatEx);
  if (!wave) return;
  if (wave->wFormatTag != WAVE_FORMAT_EXTENSIBLE) to.codes[0] = wave->wFormatTag;
  to.channels = wave->nChannels;
  to.sampleRate = wave->nSamplesPerSec;
  to.sampleBits = wave->wBitsPerSample;
  to.bitRate = wave->nAvgBytesPerSec * 8.0;
}

}  // namespace

std::optional<std::vector<MediaStream>> findMediaStreams(std::u16string_view path) {
  const Apartment apartment;
  Detector detector;
  LONG count = 0;
  if (!detector.open(std::u16string(path)) || FAILED(detector->get_OutputStreams(&count))) {
    return std::nullopt;
  }
  std::vector<MediaStream> streams;
  for (LONG i = 0; i < count; ++i) {
    MediaType type;
    if (FAILED(detector->put_CurrentStream(i)) || FAILED(detector->get_StreamMediaType(&type))) {
      continue;
    }
    MediaStream stream;
    stream.isVideo = type.majortype == MEDIATYPE_Video;
    if (!stream.isVideo && type.majortype != MEDIATYPE_Audio) continue;
    stream.isVideo ? describeVideo(type, stream) : describeAudio(type, stream);
    if (FAILED(detector->get_StreamLength(&stream.seconds))) stream.seconds = 0;
    if (stream.isVideo && FAILED(detector->get_FrameRate(&stream.frameRate))) stream.frameRate = 0;
    streams.push_back(std::move(stream));
  }
  return streams;
}

}  // namespace tessaron
