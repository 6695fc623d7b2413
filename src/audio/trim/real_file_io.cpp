// The trim's access to real recordings: the decoders chosen by extension and a
// sink that writes what the recording was written with.

#include "audio/codecs/sink_factory.h"
#include "audio/trim/recording_trim.h"

namespace vocarta {

TrimFileIo RealTrimFileIo() {
    TrimFileIo io;
    io.openSource = [](const std::string& path, std::string& error) {
        return LSoundSource(OpenSoundSource(path, &error));
    };
    io.openSinkLike = [](const std::string& newPath, const std::string& likePath,
                         const LSoundSourceBase& decoded, std::string& error) {
        return LSoundSink(OpenSinkLike(likePath, decoded, newPath, &error));
    };
    return io;
}

}  // namespace vocarta
