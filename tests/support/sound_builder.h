#pragma once
// Audio files with tags, put together by hand. Texts are Latin-1.

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

using TagTexts = std::vector<std::pair<std::string, std::string>>;

/// A frame of an ID3v2 tag of version 2, 3 or 4: a name, flags and bytes.
std::string id3Frame(int version, const std::string& name, const std::string& content,
                     std::uint32_t flags = 0);
/// A frame of text.
std::string id3Text(int version, const std::string& name, const std::string& text);
/// A tag. `claimed` is the size that it says it has, 0 for the true one.
std::string id3Tag(int version, const std::string& body, int flags = 0, std::uint32_t claimed = 0);
/// Frames of MPEG-1 Layer 3 with 128 kbit/s and 44,100 Hz in joint stereo; 1.7 s each 65.
std::string mpegFrames(int count);

/// A chunk of a RIFF file.
std::string riffChunk(const std::string& name, const std::string& content);
/// A WAV file with 0.5 s of silence, 8,000 Hz, one channel of 8 bits, and further chunks.
std::string wavFile(const std::string& chunks);

/// A Windows Media file with 90 s of sound, 2 channels, 44,100 Hz, 128 kbit/s. `fields` are title,
/// author, copyright, comment and rating. Numbers beyond 32 bits are stored in 64.
std::string asfFile(const std::vector<std::string>& fields, const TagTexts& attributes,
                    const std::vector<std::pair<std::string, std::uint64_t>>& numbers = {});

/// A FLAC file of 44,100 Hz with Vorbis comments and a picture of `pictureSize` bytes.
std::string flacFile(const TagTexts& comments, std::uint32_t pictureSize);

/// A box of an MP4 file.
std::string mp4Box(const std::string& name, const std::string& content);
