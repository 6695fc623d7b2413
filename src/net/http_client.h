#pragma once
// A small HTTP/1.0 client: GET with redirects, form POST and multipart file POST
// with progress, over plain TCP or TLS (https), directly or through a proxy's
// CONNECT tunnel. One connection per request, closed at its end.
//
// The reply is read by bounded readers (http_parser.h); a body is framed by its
// Content-Length, by chunks, or by the end of the connection. Redirects (301,
// 302, 303, 307, 308) are followed up to a limit, relative ones resolved against
// the request's URL; 303, and 301/302 after a POST, continue as a GET. An
// Authorization header is dropped when a redirect leaves the scheme, host or
// port it was meant for.
//
//   HttpOptions options;
//   options.stop = StopFlag::FromSignal(thread.StopSignal());
//   auto reply = HttpGet("https://example.com/x", options);
//   if (!reply) LogError("%s", reply.Error().Message().c_str());
//
// Threading: every call runs on the calling thread and blocks only until a
// time-out below or a stop request; the callbacks run on that thread too.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "net/http_parser.h"
#include "net/http_proxy.h"
#include "net/secure_socket.h"
#include "net/stop_flag.h"
#include "toolkit/result.h"

namespace vocarta {

inline constexpr int kHttpConnectTimeoutMs = 60000;
inline constexpr int kHttpStatusTimeoutMs = 180000;  // for the status line
inline constexpr int kHttpReadTimeoutMs = 60000;     // each header line, each body read, each send
inline constexpr std::size_t kHttpDefaultBodyLimit = 64 * 1024 * 1024;
// The multipart boundary of file uploads.
inline constexpr const char* kHttpFileBoundary = "Tq7Rm3Yb4Al9Wp8Hg2Co1Bj5Nv6";

struct HttpOptions {
    StopFlag stop;
    bool followRedirects = true;
    int maxRedirects = 10;
    // Return any complete reply instead of failing on a status outside 2xx.
    bool acceptAnyStatus = false;
    // Unset: ProxyFor(url). Set to an empty HttpProxy: always direct.
    std::optional<HttpProxy> proxy;
    // A body kept in memory larger than this is an error.
    std::size_t maxBodyBytes = kHttpDefaultBodyLimit;
    // When set, the reply's body is handed here piece by piece instead of being
    // kept; an error it returns ends the request with that error.
    std::function<LStatus(std::string_view bytes)> onBody;
    // Upload progress: bytes of the file sent and the file's size, never falling.
    std::function<void(uint64_t done, uint64_t total)> onProgress;
    int connectTimeoutMs = kHttpConnectTimeoutMs;
    int statusTimeoutMs = kHttpStatusTimeoutMs;
    int readTimeoutMs = kHttpReadTimeoutMs;
};

struct HttpResponse {
    int status = 0;
    std::string reason;
    std::vector<HttpHeaderField> headers;
    std::string body;  // empty when HttpOptions::onBody took it
    std::string url;   // the URL that gave this reply, after redirects

    std::optional<std::string> Header(std::string_view name) const {
        return FindHeaderField(headers, name);
    }
};

// What to send: the method, extra header fields and an optional body. The body
// is written by `sendBody`, exactly `contentLength` bytes; it is called again
// when a 307 or 308 redirect repeats the request.
struct HttpRequest {
    std::string method = "GET";
    std::vector<std::pair<std::string, std::string>> headers;
    std::string contentType;
    uint64_t contentLength = 0;
    std::function<LStatus(SecureSocket& socket, const HttpOptions& options)> sendBody;
};

// One request with its redirects. Failures: kInvalid (the URL or a header),
// kNetwork/kTimedOut/kTls (the connection), kProtocol (a reply outside HTTP, a
// status outside 2xx unless accepted, too many redirects), kCancelled.
LResult<HttpResponse> HttpExchange(std::string_view url, HttpRequest request,
                                   const HttpOptions& options = {});

LResult<HttpResponse> HttpGet(std::string_view url, const HttpOptions& options = {});
// `body` is sent as application/x-www-form-urlencoded, as given (FormEncode).
LResult<HttpResponse> HttpPostForm(std::string_view url, std::string_view body,
                                   const HttpOptions& options = {});
// The file as the part "file" of a multipart/form-data body, read and sent in
// blocks of 4096 bytes with progress after each.
LResult<HttpResponse> HttpPostFile(std::string_view url, const std::string& path,
                                   std::string_view contentType, const HttpOptions& options = {});

// "a=1&b=x+y": names and values encoded for a form body.
std::string FormEncode(const std::vector<std::pair<std::string, std::string>>& fields);

}  // namespace vocarta
