#pragma once
// Decoders of recordings as sources of float frames. A damaged or cut-off file
// gives an error (at open, or as a negative Read), never a crash.
//
// Threading: a source is used by one thread at a time; separate sources may be
// used on separate threads.

#include <memory>
#include <string>

#include "audio/sound_source.h"

namespace vocarta {

// MPEG audio through libmpg123. The length comes from the LAME/Xing tag when the
// file has one that is filled in, else from scanning the frames. Description:
// "MPEG Layer 3, 128 kbps, 44100 Hz, Stereo" (CBR), "MPEG Layer 3, VBR, 44100 Hz,
// Joint Stereo"; MPEG-2 and 2.5 streams say "MPEG-2"/"MPEG-2.5".
std::shared_ptr<LSoundSourceBase> OpenMp3Source(const std::string& path, std::string* error);
// The bit rate of a constant-bit-rate MP3 file in kbps; 0 for VBR or unreadable.
int Mp3ConstantBitRateOf(const std::string& path);

// AIFF, AIFC, FLAC and whatever else libsndfile reads. Description: "AIFF, 16 bit,
// 44100 Hz, Stereo", "AIFC, 32-bit floating point, 48000 Hz, Mono", "FLAC, 24 bit,
// 96000 Hz, Stereo". A FLAC stream whose length is unknown (left by a crash) is
// counted by decoding it once.
std::shared_ptr<LSoundSourceBase> OpenSndfileSource(const std::string& path, std::string* error);

// "Mono", "Stereo", or "%u Channels".
std::string ChannelCountWord(unsigned channels);

}  // namespace vocarta
