// The FTP readers on arbitrary bytes: control-connection replies split into
// lines and assembled (the first byte sets the size of the pieces the bytes
// arrive in), the texts the client acts on (PASV, FEAT, PWD, MLST, SIZE), and
// the same bytes as a LIST and as an MLSD listing.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "transmit/ftp/ftp_listing.h"
#include "transmit/ftp/ftp_reply.h"

using namespace vocarta;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) return 0;
    const size_t step = 1 + data[0] % 64;
    const std::string_view bytes(reinterpret_cast<const char*>(data + 2), size - 2);

    FtpLineSplitter lines;
    FtpReplyAssembler assembler;
    for (size_t at = 0; at < bytes.size() && !lines.Failed(); at += step) {
        lines.Append(bytes.substr(at, step));
        if (lines.Pending() > kFtpLineLimit + step + 2 && !lines.Failed()) abort();
        while (auto line = lines.NextLine()) {
            if (line->size() > kFtpLineLimit) abort();
            const auto outcome = assembler.Add(*line);
            if (outcome == FtpReplyAssembler::Outcome::kFailed) {
                assembler.Take();
                continue;
            }
            if (outcome != FtpReplyAssembler::Outcome::kDone) continue;
            const FtpReply reply = assembler.Take();
            if (reply.code < 100 || reply.code > 599) abort();
            if (reply.lines.empty() || reply.lines.size() > kFtpReplyLineLimit) abort();
            ParseFeatures(reply.lines);
            if (auto n = ParseMlstSize(reply); n && *n < 0) abort();
            if (auto n = ParseSizeReply(reply); n && *n < 0) abort();
        }
    }
    if (auto pasv = ParsePassiveReply(bytes)) {
        for (unsigned v : pasv->values)
            if (v >= 1000000000u) abort();
        (void)pasv->Host();
    }
    if (auto path = ParsePwdReply(bytes); path && path->size() > bytes.size()) abort();

    for (bool mlsd : {false, true}) {
        for (const FtpListEntry& entry : ParseListing(bytes, mlsd)) {
            if (!IsListableName(entry.name)) abort();
            if (entry.size < -1) abort();
        }
    }
    (void)ParseListMonth(bytes.substr(0, 16));
    return 0;
}
