// The HTTP client's reading speed. Two parts:
//   bench_net_download --get URL    downloads URL, keeping nothing, and prints
//                                   "<bytes> <seconds>" (for net-download.sh,
//                                   which runs it beside curl)
//   bench_net_download              Google Benchmark of the reply readers alone

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "net/http_client.h"
#include "net/http_parser.h"

using namespace vocarta;

namespace {

int GetTool(const char* url) {
    uint64_t bytes = 0;
    HttpOptions options;
    options.proxy = HttpProxy();
    options.onBody = [&](std::string_view piece) {
        bytes += piece.size();
        return LStatus();
    };
    const auto start = std::chrono::steady_clock::now();
    auto reply = HttpGet(url, options);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!reply) {
        std::fprintf(stderr, "%s\n", reply.Error().Message().c_str());
        return 1;
    }
    std::printf("%llu %.6f\n", (unsigned long long)bytes, seconds);
    return 0;
}

const std::string kHeader =
    "HTTP/1.1 200 OK\r\nDate: Mon, 01 Jan 2024 00:00:00 GMT\r\nServer: bench\r\n"
    "Content-Type: application/octet-stream\r\nContent-Length: 209715200\r\n"
    "Cache-Control: no-cache\r\nX-Request-Id: 0123456789abcdef\r\n\r\n";

void BM_HeaderBlock(benchmark::State& state) {
    for (auto _ : state) {
        HttpHeaderParser parser;
        parser.Feed(kHeader.data(), kHeader.size());
        benchmark::DoNotOptimize(parser.Status());
    }
    state.SetBytesProcessed(int64_t(state.iterations() * kHeader.size()));
}
BENCHMARK(BM_HeaderBlock);

void BM_ChunkedBody(benchmark::State& state) {
    std::string body;
    const std::string chunk(16384, 'c');
    for (int i = 0; i < 64; ++i) body += "4000\r\n" + chunk + "\r\n";
    body += "0\r\n\r\n";
    for (auto _ : state) {
        HttpChunkedDecoder decoder;
        size_t total = 0;
        decoder.Feed(body.data(), body.size(), [&](std::string_view b) { total += b.size(); });
        benchmark::DoNotOptimize(total);
    }
    state.SetBytesProcessed(int64_t(state.iterations() * body.size()));
}
BENCHMARK(BM_ChunkedBody);

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "--get") == 0) {
        if (argc != 3) {
            std::fprintf(stderr, "usage: %s --get URL\n", argv[0]);
            return 2;
        }
        return GetTool(argv[2]);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
