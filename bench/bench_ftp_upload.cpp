// The FTP client's speed. Two parts:
//   bench_ftp_upload --send SERVER USER PASSWORD FILE FOLDER [tls]
//                          uploads FILE into FOLDER as the FTP method does and
//                          prints "<bytes> <seconds>" (for ftp-upload.sh, which
//                          runs it beside curl -T); "tls" requires explicit TLS
//                          with protected data
//   bench_ftp_upload       Google Benchmark of the reply and listing readers

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "transmit/ftp/ftp_listing.h"
#include "transmit/ftp/ftp_reply.h"
#include "transmit/ftp/ftp_send.h"

using namespace vocarta;

namespace {

int SendTool(int argc, char** argv) {
    FtpSettings settings;
    settings.server = argv[2];
    settings.userName = argv[3];
    settings.password = argv[4];
    settings.directory = argv[6];
    settings.tls = argc > 7 && std::strcmp(argv[7], "tls") == 0 ? FtpTlsMode::kExplicitRequired
                                                                : FtpTlsMode::kNone;
    FtpResumeStore resume;  // in the scratch home ftp-upload.sh gives it
    const auto start = std::chrono::steady_clock::now();
    const FtpSendOutcome out = SendFileByFtp(argv[5], settings, FtpObserver{}, resume);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!out.status.Ok()) {
        std::fprintf(stderr, "%s\n", out.status.Error().Message().c_str());
        return 1;
    }
    std::printf("%lld %.6f\n", (long long)out.bytesSent, seconds);
    return 0;
}

void BM_ReplyAssembly(benchmark::State& state) {
    const std::string bytes =
        "211-Features:\r\n MDTM\r\n MFMT\r\n MLST type*;size*;modify*;\r\n SIZE\r\n UTF8\r\n"
        "211 End\r\n226 Transfer complete.\r\n";
    for (auto _ : state) {
        FtpLineSplitter lines;
        FtpReplyAssembler assembler;
        lines.Append(bytes);
        int replies = 0;
        while (auto line = lines.NextLine())
            replies += assembler.Add(std::move(*line)) == FtpReplyAssembler::Outcome::kDone;
        benchmark::DoNotOptimize(replies);
    }
    state.SetBytesProcessed(int64_t(state.iterations() * bytes.size()));
}
BENCHMARK(BM_ReplyAssembly);

void BM_UnixListing(benchmark::State& state) {
    std::string listing;
    for (int i = 0; i < 1000; ++i)
        listing += "-rw-r--r--    1 ftp      ftp       1048576 Jan 10 12:34 take" +
                   std::to_string(i) + ".wav\r\n";
    for (auto _ : state) benchmark::DoNotOptimize(ParseListing(listing, false).size());
    state.SetItemsProcessed(int64_t(state.iterations() * 1000));
}
BENCHMARK(BM_UnixListing);

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 7 && std::strcmp(argv[1], "--send") == 0) return SendTool(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
