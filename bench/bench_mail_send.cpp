// The mail client's sending speed. Three parts:
//   bench_mail_send --send HOST:PORT FILE [--tls]
//       e-mails FILE as an attachment through the SMTP server at HOST:PORT
//       (STARTTLS with --tls) and prints "<bytes> <seconds>" (for
//       mail-send.sh, which runs it beside curl)
//   bench_mail_send --compose FILE OUT
//       writes the same message as it goes out after DATA, for curl to send
//   bench_mail_send
//       Google Benchmark of the composer and the reply reader alone

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>

#include "toolkit/lfile.h"
#include "transmit/mail/mail_sender.h"
#include "transmit/mail/mime_message.h"
#include "transmit/mail/smtp_reply.h"

using namespace vocarta;

namespace {

class QuietContext final : public MailContext {
  public:
    bool ShouldStop() const override { return false; }
    void SetProgress(double) override {}
    void SetStatus(const std::string&) override {}
    void LogError(const std::string& text) override { std::fprintf(stderr, "%s\n", text.c_str()); }
};

MailRequest BenchRequest(const std::string& file) {
    MailRequest request;
    request.recipients = "rcpt@bench.test";
    request.sender = "me@bench.test";
    request.subject = "Benchmark";
    request.body = "A recording.\r\n";
    request.attachments = {file};
    request.sendDirect = false;
    return request;
}

int SendTool(const std::string& server, const std::string& file, bool tls) {
    MailRequest request = BenchRequest(file);
    request.host = server;
    request.useTls = tls;
    QuietContext context;
    SmtpOptions options;
    options.localHostName = [] { return std::string("bench.test"); };
    const auto start = std::chrono::steady_clock::now();
    LStatus sent = SendBySmtp(request, context, options);
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    if (!sent) {
        std::fprintf(stderr, "%s\n", sent.Error().Message().c_str());
        return 1;
    }
    std::printf("%lld %.6f\n", (long long)LFile::GetFileSizeBytes64(file), seconds);
    return 0;
}

class StringOutput final : public MessageOutput {
  public:
    LStatus Write(std::string_view bytes, int) override {
        text.append(bytes);
        return {};
    }
    std::string text;
};

int ComposeTool(const std::string& file, const std::string& out) {
    QuietContext context;
    StringOutput output;
    if (LStatus made =
            MimeComposer(BenchRequest(file), MailStyle::kSmtp, output, context).Compose();
        !made) {
        std::fprintf(stderr, "%s\n", made.Error().Message().c_str());
        return 1;
    }
    std::ofstream(out, std::ios::binary) << output.text;
    return 0;
}

class NullOutput final : public MessageOutput {
  public:
    LStatus Write(std::string_view bytes, int) override {
        benchmark::DoNotOptimize(bytes.data());
        return {};
    }
};

void BM_ComposeAttachment(benchmark::State& state) {
    const std::string path = "/tmp/vocarta-bench-attachment.bin";
    {
        std::string bytes(8 << 20, '\0');
        for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = char(i * 2654435761u >> 13);
        std::ofstream(path, std::ios::binary) << bytes;
    }
    QuietContext context;
    NullOutput output;
    const MailRequest request = BenchRequest(path);
    for (auto _ : state) {
        LStatus made = MimeComposer(request, MailStyle::kSmtp, output, context).Compose();
        benchmark::DoNotOptimize(made.Ok());
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * (8 << 20));
    std::remove(path.c_str());
}
BENCHMARK(BM_ComposeAttachment)->Unit(benchmark::kMillisecond);

void BM_EhloReply(benchmark::State& state) {
    const std::string reply =
        "250-mail.example.net Hello\r\n250-SIZE 35882577\r\n250-8BITMIME\r\n250-STARTTLS\r\n"
        "250-AUTH LOGIN PLAIN XOAUTH2\r\n250-ENHANCEDSTATUSCODES\r\n250 CHUNKING\r\n";
    for (auto _ : state) {
        SmtpReplyReader reader;
        reader.Feed(reply);
        benchmark::DoNotOptimize(reader.Reply().code);
    }
    state.SetBytesProcessed(int64_t(state.iterations() * reply.size()));
}
BENCHMARK(BM_EhloReply);

}  // namespace

int main(int argc, char** argv) {
    if (argc >= 2 && std::strcmp(argv[1], "--send") == 0) {
        if (argc != 4 && !(argc == 5 && std::strcmp(argv[4], "--tls") == 0)) {
            std::fprintf(stderr, "usage: %s --send HOST:PORT FILE [--tls]\n", argv[0]);
            return 2;
        }
        return SendTool(argv[2], argv[3], argc == 5);
    }
    if (argc >= 2 && std::strcmp(argv[1], "--compose") == 0) {
        if (argc != 4) {
            std::fprintf(stderr, "usage: %s --compose FILE OUT\n", argv[0]);
            return 2;
        }
        return ComposeTool(argv[2], argv[3]);
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
