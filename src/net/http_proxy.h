#pragma once
// The HTTP proxy that requests go through with CONNECT: the "Proxy" settings
// when a server is set there, otherwise the environment that other programs on
// the desktop use (https_proxy, http_proxy, all_proxy, no_proxy). Loopback
// hosts are always reached directly.
//
// Threading: free functions; ProxyFor reads settings and the environment, safe
// from any thread.

#include <cstdint>
#include <string>
#include <string_view>

#include "toolkit/result.h"

namespace vocarta {

struct HttpUrl;

// Settings of the proxy ("Proxy" section). An empty server means the
// environment decides; the password is kept as a protected value.
inline constexpr const char* kProxySection = "Proxy";
inline constexpr const char* kProxyServerKey = "Server";  // "host:port"
inline constexpr const char* kProxyUserKey = "UserName";
inline constexpr const char* kProxyPasswordKey = "Password";
inline constexpr uint16_t kDefaultProxyPort = 1080;

struct HttpProxy {
    std::string host;  // empty: no proxy
    uint16_t port = 0;
    std::string user;  // with a password, sent as Basic proxy authorisation
    std::string password;

    bool IsSet() const { return !host.empty(); }
};

// "host", "host:port" or "http://[user:password@]host[:port][/]"; the user and
// password are percent-decoded. Other schemes are kUnsupported.
LResult<HttpProxy> ParseProxy(std::string_view text);

// Whether `host` is excluded by a no_proxy list ("*", names matching
// themselves and their sub-domains, with or without a leading dot, addresses).
bool ProxyBypassed(std::string_view host, std::string_view noProxy);

// The proxy for a request to `url`; an unset HttpProxy for a direct connection.
// A proxy setting that cannot be read is kInvalid rather than a silent direct
// connection.
LResult<HttpProxy> ProxyFor(const HttpUrl& url);

// Standard base64, for the proxy's Basic authorisation.
std::string Base64Encode(std::string_view bytes);

}  // namespace vocarta
