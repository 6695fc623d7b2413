#include "net/http_client.h"

#include <algorithm>
#include <memory>

#include "net/url.h"
#include "toolkit/log.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr std::size_t kReadChunk = 64 * 1024;
constexpr int kMaxInterimReplies = 16;

// A request's address for the log, without its query (which may hold a key).
std::string UrlForLog(const HttpUrl& url) {
    return url.scheme + "://" + url.Authority() + url.target.substr(0, url.target.find('?'));
}

bool HasLineBreakOrNul(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

LResult<std::string> BuildHead(const HttpUrl& url, const HttpRequest& request) {
    std::string head =
        request.method + " " + url.target + " HTTP/1.0\r\nHost: " + url.Authority() + "\r\n";
    if (request.sendBody) {
        head += "Content-Type: " + request.contentType + "\r\n";
        head += "Content-Length: " + std::to_string(request.contentLength) + "\r\n";
    }
    for (const auto& [name, value] : request.headers) {
        if (name.empty() || name.find(':') != std::string::npos || HasLineBreakOrNul(name) ||
            HasLineBreakOrNul(value))
            return MakeError(LErrorCode::kInvalid, "the request header \"%s\" is not valid",
                             CutText(name, 40).c_str());
        head += name + ": " + value + "\r\n";
    }
    if (HasLineBreakOrNul(request.method) || HasLineBreakOrNul(request.contentType) ||
        request.method.find(' ') != std::string::npos)
        return MakeError(LErrorCode::kInvalid, "the request is not valid");
    return head + "\r\n";
}

// Reads one reply header (after any 1xx interim replies) and returns the bytes
// that came after it: the start of the body.
LResult<std::string> ReadHead(SecureSocket& socket, HttpHeaderParser& parser,
                              const HttpOptions& options, std::string pending = {}) {
    std::unique_ptr<char[]> buffer(new char[kReadChunk]);
    int interim = 0;
    std::size_t lines = 0;
    Deadline lineDeadline(options.statusTimeoutMs);
    while (true) {
        while (!pending.empty()) {
            const std::size_t used = parser.Feed(pending.data(), pending.size());
            pending.erase(0, used);
            if (parser.Failed())
                return MakeError(LErrorCode::kProtocol, "%s: %s", socket.PeerHostName().c_str(),
                                 parser.Error().c_str());
            if (!parser.Done()) break;
            if (parser.Status() >= 200 || parser.Status() == 101) return pending;
            if (++interim > kMaxInterimReplies)
                return MakeError(LErrorCode::kProtocol, "%s sends interim replies without end",
                                 socket.PeerHostName().c_str());
            parser.Reset();
            lines = 0;
        }
        if (parser.Lines() != lines) {
            lines = parser.Lines();
            lineDeadline = Deadline(options.readTimeoutMs);
        }
        auto got =
            socket.Receive(buffer.get(), kReadChunk,
                           lineDeadline.Unlimited() ? kNoTimeLimit : lineDeadline.RemainingMs());
        if (!got) {
            if (!socket.AtEnd()) return got.Error();
            return MakeError(
                LErrorCode::kProtocol, "%s closed the connection %s", socket.PeerHostName().c_str(),
                parser.Lines() == 0 && parser.GetState() == HttpHeaderParser::State::kStatusLine
                    ? "without a reply"
                    : "in the middle of the reply's header");
        }
        pending.assign(buffer.get(), got.Value());
    }
}

class BodyReader {
  public:
    BodyReader(SecureSocket& socket, const HttpOptions& options, HttpResponse& response)
        : socket_(socket), options_(options), response_(response), buffer_(new char[kReadChunk]) {}

    LStatus Read(const HttpBodyFraming& framing, std::string_view start) {
        switch (framing.kind) {
            case HttpBodyFraming::Kind::kNone:
                return {};
            case HttpBodyFraming::Kind::kLength:
                return ReadLength(framing.length, start);
            case HttpBodyFraming::Kind::kChunked:
                return ReadChunked(start);
            case HttpBodyFraming::Kind::kToEnd:
                return ReadToEnd(start);
        }
        return {};
    }

  private:
    LStatus Deliver(std::string_view bytes) {
        if (bytes.empty()) return {};
        if (options_.onBody) return options_.onBody(bytes);
        if (response_.body.size() + bytes.size() > options_.maxBodyBytes)
            return MakeError(LErrorCode::kProtocol, "the reply from %s is larger than %zu bytes",
                             socket_.PeerHostName().c_str(), options_.maxBodyBytes);
        response_.body.append(bytes);
        return {};
    }

    LResult<std::string_view> Next(std::size_t most) {
        auto got =
            socket_.Receive(buffer_.get(), std::min(most, kReadChunk), options_.readTimeoutMs);
        if (!got) return got.Error();
        return std::string_view(buffer_.get(), got.Value());
    }

    LStatus ReadLength(uint64_t length, std::string_view start) {
        uint64_t left = length;
        std::string_view piece =
            start.substr(0, std::size_t(std::min<uint64_t>(left, start.size())));
        while (true) {
            if (LStatus delivered = Deliver(piece); !delivered) return delivered;
            left -= piece.size();
            if (left == 0) return {};
            auto next = Next(std::size_t(std::min<uint64_t>(left, kReadChunk)));
            if (!next) {
                if (!socket_.AtEnd()) return next.Error();
                return MakeError(LErrorCode::kProtocol,
                                 "the reply from %s ended after %llu of %llu bytes",
                                 socket_.PeerHostName().c_str(),
                                 (unsigned long long)(length - left), (unsigned long long)length);
            }
            piece = next.Value();
        }
    }

    LStatus ReadChunked(std::string_view start) {
        HttpChunkedDecoder decoder;
        LStatus delivered;
        auto out = [&](std::string_view bytes) {
            if (delivered) delivered = Deliver(bytes);
        };
        std::string_view piece = start;
        while (true) {
            decoder.Feed(piece.data(), piece.size(), out);
            if (!delivered) return delivered;
            if (decoder.Failed())
                return MakeError(LErrorCode::kProtocol, "the reply from %s: %s",
                                 socket_.PeerHostName().c_str(), decoder.Error().c_str());
            if (decoder.Done()) return {};
            auto next = Next(kReadChunk);
            if (!next) {
                if (!socket_.AtEnd()) return next.Error();
                return MakeError(LErrorCode::kProtocol,
                                 "the reply from %s ended within its chunked body",
                                 socket_.PeerHostName().c_str());
            }
            piece = next.Value();
        }
    }

    LStatus ReadToEnd(std::string_view start) {
        std::string_view piece = start;
        while (true) {
            if (LStatus delivered = Deliver(piece); !delivered) return delivered;
            auto next = Next(kReadChunk);
            if (!next) return socket_.AtEnd() ? LStatus() : LStatus(next.Error());
            piece = next.Value();
        }
    }

    SecureSocket& socket_;
    const HttpOptions& options_;
    HttpResponse& response_;
    std::unique_ptr<char[]> buffer_;
};

LStatus OpenTunnel(SecureSocket& socket, const HttpUrl& url, const HttpProxy& proxy,
                   const HttpOptions& options) {
    const std::string target =
        url.host.find(':') != std::string::npos ? "[" + url.host + "]" : url.host;
    std::string request = StringPrintf("CONNECT %s:%d HTTP/1.0\r\n", target.c_str(), int(url.port));
    if (!proxy.user.empty())
        request += "Proxy-Authorization: Basic " + Base64Encode(proxy.user + ":" + proxy.password) +
                   "\r\n";
    request += "\r\n";
    if (LStatus sent = socket.Send(request, options.readTimeoutMs); !sent) return sent;
    HttpHeaderParser parser;
    auto rest = ReadHead(socket, parser, options);
    if (!rest) return rest.Error().Within("proxy");
    if (parser.Status() < 200 || parser.Status() > 299)
        return MakeError(LErrorCode::kNetwork, "the proxy %s refused the connection to %s: %d %s",
                         proxy.host.c_str(), url.Authority().c_str(), parser.Status(),
                         CutText(parser.Reason(), 80).c_str());
    if (!rest.Value().empty())
        return MakeError(LErrorCode::kProtocol,
                         "the proxy %s sent data before the connection to %s", proxy.host.c_str(),
                         url.Authority().c_str());
    return {};
}

LResult<SecureSocket> OpenConnection(const HttpUrl& url, const HttpOptions& options) {
    HttpProxy proxy;
    if (options.proxy) {
        proxy = *options.proxy;
    } else {
        auto found = ProxyFor(url);
        if (!found) return found.Error();
        proxy = found.Value();
    }
    SecureSocket socket(options.stop);
    const std::string& host = proxy.IsSet() ? proxy.host : url.host;
    const uint16_t port = proxy.IsSet() ? proxy.port : url.port;
    auto addresses = ResolveHost(host, port, options.connectTimeoutMs, options.stop);
    if (!addresses) return addresses.Error();
    if (LStatus connected = socket.ConnectAny(host, addresses.Value(), options.connectTimeoutMs);
        !connected)
        return connected.Error();
    if (proxy.IsSet()) {
        if (LStatus tunnel = OpenTunnel(socket, url, proxy, options); !tunnel)
            return tunnel.Error();
        socket.SetPeerHostName(url.host);
    }
    if (url.IsTls())
        if (LStatus tls = socket.StartTls(options.connectTimeoutMs); !tls) return tls.Error();
    return socket;
}

bool IsRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

// One request on one connection; the body is read unless the reply is a
// redirect that will be followed.
LResult<HttpResponse> ExchangeOnce(const HttpUrl& url, const HttpRequest& request,
                                   const HttpOptions& options) {
    auto head = BuildHead(url, request);
    if (!head) return head.Error();
    auto connection = OpenConnection(url, options);
    if (!connection) return connection.Error();
    SecureSocket& socket = connection.Value();
    if (LStatus sent = socket.Send(head.Value(), options.readTimeoutMs); !sent) return sent.Error();
    if (request.sendBody)
        if (LStatus sent = request.sendBody(socket, options); !sent) return sent.Error();

    HttpHeaderParser parser;
    auto start = ReadHead(socket, parser, options);
    if (!start) return start.Error();
    HttpResponse response;
    response.status = parser.Status();
    response.reason = parser.Reason();
    response.headers = parser.Fields();
    response.url = url.ToString();
    if (options.followRedirects && IsRedirect(response.status)) return response;
    if (!options.acceptAnyStatus && (response.status < 200 || response.status > 299))
        return response;  // refused by the caller without its body
    HttpBodyFraming framing;
    std::string error;
    if (!parser.Framing(framing, error))
        return MakeError(LErrorCode::kProtocol, "%s: %s", url.host.c_str(), error.c_str());
    BodyReader reader(socket, options, response);
    if (LStatus read = reader.Read(framing, start.Value()); !read) return read.Error();
    return response;
}

bool SameOrigin(const HttpUrl& a, const HttpUrl& b) {
    return a.scheme == b.scheme && a.host == b.host && a.port == b.port;
}

LResult<HttpResponse> FollowExchange(HttpUrl url, HttpRequest request, const HttpOptions& options) {
    for (int hop = 0;; ++hop) {
        auto reply = ExchangeOnce(url, request, options);
        if (!reply) return reply;
        const HttpResponse& response = reply.Value();
        if (!(options.followRedirects && IsRedirect(response.status))) {
            if (!options.acceptAnyStatus && (response.status < 200 || response.status > 299))
                return MakeError(LErrorCode::kProtocol, "%s answered %d %s", url.host.c_str(),
                                 response.status, CutText(response.reason, 80).c_str());
            return reply;
        }
        if (hop >= options.maxRedirects)
            return MakeError(LErrorCode::kProtocol, "more than %d redirects from %s",
                             options.maxRedirects, url.host.c_str());
        const auto location = response.Header("Location");
        if (!location || location->empty())
            return MakeError(LErrorCode::kProtocol, "%s redirected without a Location",
                             url.host.c_str());
        auto next = ResolveHttpUrl(url, *location);
        if (!next) return next.Error().Within("redirect");
        const int status = response.status;
        if (status == 303 || ((status == 301 || status == 302) && request.method == "POST")) {
            request.method = "GET";
            request.sendBody = nullptr;
            request.contentType.clear();
            request.contentLength = 0;
        }
        if (!SameOrigin(url, next.Value()))
            std::erase_if(request.headers, [](const auto& field) {
                return EqualsNoCase(field.first, "Authorization");
            });
        url = std::move(next).Value();
    }
}

}  // namespace

LResult<HttpResponse> HttpExchange(std::string_view urlText, HttpRequest request,
                                   const HttpOptions& options) {
    auto url = ParseHttpUrl(urlText);
    if (!url) return url.Error();
    const std::string forLog = request.method + " " + UrlForLog(url.Value());
    auto reply = FollowExchange(std::move(url).Value(), std::move(request), options);
    if (!reply && !reply.Error().IsCancelled())
        LogError("HttpExchange %s FAILED: %s", forLog.c_str(), reply.Error().Message().c_str());
    return reply;
}

LResult<HttpResponse> HttpGet(std::string_view url, const HttpOptions& options) {
    return HttpExchange(url, HttpRequest(), options);
}

std::string FormEncode(const std::vector<std::pair<std::string, std::string>>& fields) {
    static const char kHex[] = "0123456789ABCDEF";
    auto encode = [](std::string_view text, std::string& out) {
        for (unsigned char c : text) {
            if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                c == '-' || c == '.' || c == '_' || c == '*') {
                out += char(c);
            } else if (c == ' ') {
                out += '+';
            } else {
                out += '%';
                out += kHex[c >> 4];
                out += kHex[c & 15];
            }
        }
    };
    std::string out;
    for (const auto& [name, value] : fields) {
        if (!out.empty()) out += '&';
        encode(name, out);
        out += '=';
        encode(value, out);
    }
    return out;
}

}  // namespace vocarta
