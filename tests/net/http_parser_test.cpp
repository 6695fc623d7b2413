#include "net/http_parser.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "net/http_proxy.h"
#include "net/socket_address.h"
#include "net/url.h"

namespace vocarta {
namespace {

using namespace std::string_literals;

const char kReply[] =
    "HTTP/1.1 301 Moved Permanently\r\n"
    "Location: /new\r\n"
    "X-Folded: first\r\n"
    "  second\r\n"
    "Content-Length: 12, 12\r\n"
    "\r\n"
    "body follows";

// The reader must give the same result however the bytes are split, and stop
// exactly at the end of the header block.
TEST(HttpParserTest, ReadsTheHeaderBlockInAnyPieces) {
    const std::string reply = kReply;
    const std::size_t headerEnd = reply.find("\r\n\r\n") + 4;
    for (std::size_t split = 0; split <= reply.size(); ++split) {
        HttpHeaderParser parser;
        std::size_t used = parser.Feed(reply.data(), split);
        used += parser.Feed(reply.data() + used, reply.size() - used);
        ASSERT_TRUE(parser.Done()) << split << ": " << parser.Error();
        EXPECT_EQ(used, headerEnd);
        HttpBodyFraming framing;
        std::string error;
        EXPECT_TRUE(parser.Framing(framing, error) &&
                    framing.kind == HttpBodyFraming::Kind::kLength && framing.length == 12u);
        EXPECT_EQ(std::to_string(parser.Status()) + " " + parser.Reason() + "|" +
                      parser.Field("location").value_or("") + "|" +
                      parser.Field("X-FOLDED").value_or(""),
                  "301 Moved Permanently|/new|first second");
    }
}

TEST(HttpParserTest, RefusesWhatIsNotAReplyHeader) {
    for (const std::string& text :
         {"HTTX/1.0 200 OK"s, "HTTP/1.0 2000 OK"s, "HTTP/1.0 099 Low"s, "HTTP/1.0 600 High"s,
          "HTTP/x.0 200 OK"s, "HTTP/1.0200 OK"s, "HTTP/1.0 200 OK\r\nNoColon"s,
          "HTTP/1.0 200 OK\r\nBad Name: x"s, "HTTP/1.0 200 OK\r\n folded-first"s,
          "HTTP/1.0 200 OK\r\n: empty name"s, "HTTP/1.0 200 OK\r\nX: a\0b"s}) {
        HttpHeaderParser parser;
        parser.Feed(text.data(), text.size());
        parser.Feed("\r\n\r\n", 4);
        EXPECT_TRUE(parser.Failed()) << text;
    }

    // The limit holds however slowly the bytes come; a block just under it passes.
    std::string huge = "HTTP/1.0 200 OK\r\n";
    while (huge.size() < kHttpHeaderLimit) huge += "X-Fill: " + std::string(90, 'f') + "\r\n";
    HttpHeaderParser limited;
    std::size_t used = 0;
    for (std::size_t i = 0; i < huge.size() && !limited.Failed(); i += 1000)
        used += limited.Feed(huge.data() + i, std::min<std::size_t>(1000, huge.size() - i));
    EXPECT_TRUE(limited.Failed());
    EXPECT_LE(used, kHttpHeaderLimit);
    std::string fits = huge.substr(0, kHttpHeaderLimit - 2000);
    fits = fits.substr(0, fits.rfind("\r\n") + 2) + "\r\n";
    HttpHeaderParser under;
    under.Feed(fits.data(), fits.size());
    EXPECT_TRUE(under.Done()) << under.Error();

    using K = HttpBodyFraming::Kind;
    const std::pair<const char*, int> framings[] = {
        // -1: refused
        {"200 OK\r\nContent-Length: 5\r\nContent-Length: 6", -1},
        {"200 OK\r\nContent-Length: -1", -1},
        {"200 OK\r\nContent-Length: 99999999999999999999", -1},
        {"200 OK\r\nTransfer-Encoding: gzip", -1},
        {"200 OK\r\nTransfer-Encoding: gzip, chunked\r\nContent-Length: 3", int(K::kChunked)},
        {"200 OK\r\nTransfer-Encoding: identity\r\nContent-Length: 3", int(K::kLength)},
        {"200 OK", int(K::kToEnd)},
        {"204 No Content\r\nContent-Length: 9", int(K::kNone)}};
    for (const auto& [fields, kind] : framings) {
        const std::string text = std::string("HTTP/1.0 ") + fields + "\r\n\r\n";
        HttpHeaderParser parser;
        parser.Feed(text.data(), text.size());
        ASSERT_TRUE(parser.Done()) << fields;
        HttpBodyFraming framing;
        std::string error;
        EXPECT_EQ(parser.Framing(framing, error) ? int(framing.kind) : -1, kind) << fields;
    }
}

std::string Decode(const std::string& body, std::size_t step, HttpChunkedDecoder& decoder,
                   std::size_t* used = nullptr) {
    std::string out;
    std::size_t total = 0;
    for (std::size_t i = 0; i < body.size() && !decoder.Done() && !decoder.Failed(); i += step)
        total += decoder.Feed(body.data() + i, std::min(step, body.size() - i),
                              [&](std::string_view b) { out.append(b); });
    if (used) *used = total;
    return out;
}

TEST(HttpParserTest, DecodesChunksAndRefusesBadOnes) {
    const std::string body =
        "4;ext=1\r\nWiki\r\n5\r\npedia\r\nE \r\n in\r\n\r\nchunks.\r\n0\r\nTrailer: x\r\n\r\nNEXT";
    for (std::size_t step : {1, 2, 3, 7, 1000}) {
        HttpChunkedDecoder decoder;
        std::size_t used = 0;
        EXPECT_EQ(Decode(body, step, decoder, &used), "Wikipedia in\r\n\r\nchunks.");
        EXPECT_TRUE(decoder.Done());
        EXPECT_EQ(used, body.size() - 4);  // "NEXT" is not the body's
    }
    std::string longTrailer = "0\r\n";
    while (longTrailer.size() < kHttpHeaderLimit + 100)
        longTrailer += "T: " + std::string(80, 't') + "\r\n";
    for (const std::string& text :
         {std::string("x\r\n"), std::string("5\r\nabcdefg\r\n"),
          std::string("1000000000000000\r\n"), std::string("5 junk\r\nabcde\r\n"),
          std::string(kChunkLineLimit + 10, '0'), longTrailer}) {
        HttpChunkedDecoder decoder;
        Decode(text, text.size() > 1000 ? 100 : 1, decoder);
        EXPECT_TRUE(decoder.Failed()) << text.substr(0, 20);
    }
}

TEST(HttpParserTest, UrlsAndRedirectTargets) {
    auto base = ParseHttpUrl("HTTPS://Example.COM:8443/a/b/c?x=1#frag");
    ASSERT_TRUE(base);
    EXPECT_EQ(base.Value().Authority() + base.Value().target, "example.com:8443/a/b/c?x=1");
    const std::pair<const char*, const char*> resolved[] = {
        {"d", "https://example.com:8443/a/b/d"},
        {"../d?y", "https://example.com:8443/a/d?y"},
        {"../../../../d", "https://example.com:8443/d"},
        {"./", "https://example.com:8443/a/b/"},
        {"/e/./f/../g", "https://example.com:8443/e/g"},
        {"?q=2", "https://example.com:8443/a/b/c?q=2"},
        {"", "https://example.com:8443/a/b/c?x=1"},
        {"//other.example/p", "https://other.example/p"},
        {"http://[::1]:8080/v6 path", "http://[::1]:8080/v6%20path"},
        {"HTTP://Plain.Example", "http://plain.example/"},
    };
    for (const auto& [reference, expected] : resolved) {
        auto url = ResolveHttpUrl(base.Value(), reference);
        EXPECT_EQ(url ? url.Value().ToString() : url.Error().Message(), expected) << reference;
    }
    for (const char* bad :
         {"ftp://x/", "mailto:a@b", "https://user:pw@x/", "https://a b/",
          "https://x/\r\nInjected: 1", "https://::1/", "https://x:99999/", "https:///path"}) {
        EXPECT_FALSE(ResolveHttpUrl(base.Value(), bad)) << bad;
        EXPECT_FALSE(ParseHttpUrl(bad)) << bad;
    }
    EXPECT_TRUE(ProxyBypassed("a.b.example", "x, .b.example"));
    EXPECT_TRUE(ProxyBypassed("b.example", "b.example"));
    EXPECT_FALSE(ProxyBypassed("notb.example", "b.example"));
    EXPECT_TRUE(ProxyBypassed("anything", "*"));
    EXPECT_EQ(Base64Encode("rec:pa ss"), "cmVjOnBhIHNz");
}

// A short deterministic run of mutated replies through every reader, so that
// each test run exercises them the way the fuzzers do: no crash, no reading
// past what was given, no block beyond its limit, only sane results.
TEST(HttpParserTest, MutatedInputNeverBreaksTheReaders) {
    const std::string seeds[] = {
        kReply,
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n5;a=b\r\nHello\r\n0\r\nT: 1\r\n\r\n",
        "HTTP/1.0 100 Continue\r\n\r\nHTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nok",
        "HTTP/1.0 404 Not Found\r\nContent-Type: text/html\r\nX:\r\n\r\n",
    };
    std::mt19937 random(20240501);
    for (int round = 0; round < 20000; ++round) {
        std::string input = seeds[round % std::size(seeds)];
        const int edits = 1 + int(random() % 8);
        for (int e = 0; e < edits && !input.empty(); ++e) {
            const std::size_t at = random() % input.size();
            const auto kind = random() % 5;
            if (kind == 0) input[at] = char(random());
            if (kind == 1) input.insert(at, 1, "\r\n:; \t0fF"[random() % 9]);
            if (kind == 2) input.erase(at, 1 + random() % 8);
            if (kind == 3) input.insert(at, input.substr(at, random() % 64));
            if (kind == 4) input.insert(at, std::string(random() % 3000, char(random())));
        }
        HttpHeaderParser parser;
        std::size_t used = 0;
        while (used < input.size() && !parser.Done() && !parser.Failed()) {
            const std::size_t piece = std::min<std::size_t>(1 + random() % 40, input.size() - used);
            const std::size_t took = parser.Feed(input.data() + used, piece);
            ASSERT_LE(took, piece);
            used += took;
            if (took < piece) break;
        }
        ASSERT_LE(used, kHttpHeaderLimit);
        if (parser.Done()) {
            ASSERT_GE(parser.Status(), 100);
            ASSERT_LE(parser.Status(), 599);
            HttpBodyFraming framing;
            std::string error;
            parser.Framing(framing, error);
        }
        HttpChunkedDecoder decoder;
        std::size_t decoded = 0;
        const std::size_t taken = decoder.Feed(input.data() + used, input.size() - used,
                                               [&](std::string_view b) { decoded += b.size(); });
        ASSERT_LE(taken, input.size() - used);
        ASSERT_LE(decoded, taken);
        // Whatever an address parses to can go into a request line as it is.
        auto url = ParseHttpUrl("http://h" + input.substr(0, 200));
        if (url) url = ResolveHttpUrl(url.Value(), input.substr(used % (input.size() + 1), 300));
        if (url) {
            ASSERT_EQ(url.Value().target.front(), '/');
            ASSERT_EQ(url.Value().target.find_first_of(std::string_view(" \r\n\0", 4)),
                      std::string::npos);
            ASSERT_FALSE(url.Value().host.empty());
        }
        auto server = ParseServerName(input.substr(0, 60), 21);
        ASSERT_TRUE(!server || !server.Value().host.empty());
        auto proxy = ParseProxy(input.substr(0, 80));
        ASSERT_TRUE(!proxy || proxy.Value().port != 0);
    }
}

}  // namespace
}  // namespace vocarta
