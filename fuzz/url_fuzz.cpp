// Web addresses, redirect targets, server strings and proxy settings on
// arbitrary text: "base LF reference LF no_proxy list". Whatever parses must be
// safe to put into a request line and a Host header as it is.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "net/http_proxy.h"
#include "net/socket_address.h"
#include "net/url.h"

using namespace vocarta;

namespace {
void CheckUrl(const LResult<HttpUrl>& url) {
    if (!url) return;
    const HttpUrl& u = url.Value();
    if (u.target.empty() || u.target.front() != '/') abort();
    if (u.target.find_first_of(std::string_view(" \r\n\0", 4)) != std::string::npos) abort();
    if (u.host.empty() || u.port == 0) abort();
    if (u.Authority().find_first_of(std::string_view(" \r\n\0/@", 6)) != std::string::npos) abort();
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const size_t first = text.find('\n');
    const std::string_view base = text.substr(0, first);
    const std::string_view rest = first == std::string_view::npos ? "" : text.substr(first + 1);
    const size_t second = rest.find('\n');
    const std::string_view reference = rest.substr(0, second);
    const std::string_view noProxy =
        second == std::string_view::npos ? "" : rest.substr(second + 1);

    auto url = ParseHttpUrl(base);
    CheckUrl(url);
    if (url) {
        CheckUrl(ResolveHttpUrl(url.Value(), reference));
        ProxyBypassed(url.Value().host, noProxy);
    }
    auto server = ParseServerName(base, 21);
    if (server && (server.Value().host.empty() || server.Value().port == 0)) abort();
    auto proxy = ParseProxy(reference);
    if (proxy && (proxy.Value().host.empty() || proxy.Value().port == 0)) abort();
    return 0;
}
