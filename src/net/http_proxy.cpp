#include "net/http_proxy.h"

#include <openssl/evp.h>

#include <cstdlib>

#include "net/socket_address.h"
#include "net/url.h"
#include "settings/settings.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

int HexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string PercentDecode(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 &&
            HexValue(text[i + 2]) >= 0) {
            out += char(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
            i += 2;
        } else {
            out += text[i];
        }
    }
    return out;
}

bool IsLoopbackHost(std::string_view host) {
    const std::string name = ToLowerAscii(host);
    if (name == "localhost" || EndsWithNoCase(name, ".localhost") || name == "::1") return true;
    return IsNumericHost(name) && name.rfind("127.", 0) == 0;
}

std::string Environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? TrimBlanks(value) : std::string();
}

}  // namespace

LResult<HttpProxy> ParseProxy(std::string_view text) {
    std::string_view rest = text;
    const std::size_t scheme = rest.find("://");
    if (scheme != std::string_view::npos) {
        if (!EqualsNoCase(rest.substr(0, scheme), "http"))
            return MakeError(LErrorCode::kUnsupported,
                             "proxies of the kind \"%.*s\" are not supported", int(scheme),
                             rest.data());
        rest.remove_prefix(scheme + 3);
    }
    while (!rest.empty() && rest.back() == '/') rest.remove_suffix(1);
    HttpProxy proxy;
    const std::size_t at = rest.rfind('@');
    if (at != std::string_view::npos) {
        const std::string_view credentials = rest.substr(0, at);
        const std::size_t colon = credentials.find(':');
        proxy.user = PercentDecode(credentials.substr(0, colon));
        if (colon != std::string_view::npos)
            proxy.password = PercentDecode(credentials.substr(colon + 1));
        rest.remove_prefix(at + 1);
    }
    auto server = ParseServerName(rest, kDefaultProxyPort);
    if (!server) return server.Error().Within("proxy");
    proxy.host = server.Value().host;
    proxy.port = server.Value().port;
    return proxy;
}

bool ProxyBypassed(std::string_view host, std::string_view noProxy) {
    const std::string name = ToLowerAscii(host);
    while (!noProxy.empty()) {
        const std::size_t end = noProxy.find_first_of(", ");
        std::string entry = ToLowerAscii(TrimBlanks(noProxy.substr(0, end)));
        noProxy = end == std::string_view::npos ? "" : noProxy.substr(end + 1);
        if (entry == "*") return true;
        while (!entry.empty() && entry.front() == '.') entry.erase(0, 1);
        if (entry.empty()) continue;
        if (name == entry) return true;
        if (name.size() > entry.size() && EndsWithNoCase(name, "." + entry)) return true;
    }
    return false;
}

LResult<HttpProxy> ProxyFor(const HttpUrl& url) {
    if (IsLoopbackHost(url.host)) return HttpProxy();
    const std::string server = GetSettingString(kProxySection, kProxyServerKey, "");
    if (!server.empty()) {
        auto proxy = ParseProxy(server);
        if (!proxy) return proxy.Error().Within("the proxy setting");
        proxy.Value().user = GetSettingString(kProxySection, kProxyUserKey, "");
        GetProtectedSetting(kProxySection, kProxyPasswordKey, "", proxy.Value().password);
        return proxy;
    }
    std::string fromEnvironment;
    for (const char* name : {url.IsTls() ? "https_proxy" : "http_proxy",
                             url.IsTls() ? "HTTPS_PROXY" : "", "all_proxy", "ALL_PROXY"}) {
        // Upper-case HTTP_PROXY is left out on purpose: web servers running
        // programs put a request's "Proxy:" header there.
        if (*name && !(fromEnvironment = Environment(name)).empty()) break;
    }
    if (fromEnvironment.empty()) return HttpProxy();
    std::string noProxy = Environment("no_proxy");
    if (noProxy.empty()) noProxy = Environment("NO_PROXY");
    if (ProxyBypassed(url.host, noProxy)) return HttpProxy();
    auto proxy = ParseProxy(fromEnvironment);
    if (!proxy) return proxy.Error().Within("the proxy in the environment");
    return proxy;
}

std::string Base64Encode(std::string_view bytes) {
    std::string out(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    const int length =
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                        reinterpret_cast<const unsigned char*>(bytes.data()), int(bytes.size()));
    out.resize(length > 0 ? std::size_t(length) : 0);
    return out;
}

}  // namespace vocarta
