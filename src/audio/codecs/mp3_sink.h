#pragma once
// The MP3 sink: float frames encoded by LAME (loaded at run time) and written as
// they come, with constant memory however long the recording is.
//
// How the MP3 record maps onto LAME:
//   constant bit rate   CBR at CBRBitRate kbps
//   variable bit rate   VBR (LAME's default VBR method) between VBRMinBitRate and
//                       VBRMaxBitRate at VBRQuality 0-9; with BitRateControlMethod
//                       2 and a non-zero ABRBitRate, average bit rate at that rate
//   quality             2 with "High Quality Encoding (Slower)", else Quality 0-9
//   channel mode        Stereo, Joint (joint stereo), Force (joint stereo with
//                       mid/side forced), Mono (one channel asked of the device;
//                       a stereo input is mixed down by LAME)
//   error protection    a CRC in every frame
//   low-pass            Lowpass kHz; 0 lets LAME choose
// The first frame of the file is LAME's Xing/LAME tag; Close fills it in (length,
// gapless information). No ID3 tag is written.
//
// Truncation is not supported (MP3 frames overlap and cannot be cut back to an
// exact frame): TruncateToFrame returns false and the file keeps what was written.

#include <memory>
#include <string>

#include "audio/codecs/encoder_settings.h"
#include "audio/sound_sink.h"

namespace vocarta {

// Opens an MP3 sink at `rate` Hz with `channels` input channels (1 or 2; a mono
// channel mode asks for 1). Fails with a clear `error` and no file created when
// LAME is missing or refuses the settings.
std::shared_ptr<LSoundSinkBase> OpenMp3Sink(const std::string& path, const Mp3Settings& settings,
                                            uint32_t rate, uint8_t channels, std::string* error);

// The channel count an MP3 recording asks of the device for a channel mode.
inline uint8_t Mp3ChannelsFor(const Mp3Settings& settings) {
    return settings.channelMode == kMp3Mono ? 1 : 2;
}

}  // namespace vocarta
