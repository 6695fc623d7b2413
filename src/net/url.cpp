#include "net/url.h"

#include <vector>

#include "net/socket_address.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr std::size_t kMaxUrlLength = 8192;

bool IsHostChar(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_';
}

bool HasControl(std::string_view text) {
    for (unsigned char c : text)
        if (c < 0x20 || c == 0x7f) return true;
    return false;
}

// Blanks and bytes beyond ASCII as %XX; everything else as given.
std::string EncodeTarget(std::string_view text) {
    static const char kHex[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : text) {
        if (c == ' ' || c >= 0x80 || c == '"' || c == '<' || c == '>' || c == '\\' || c == '^' ||
            c == '`' || c == '{' || c == '|' || c == '}') {
            out += '%';
            out += kHex[c >> 4];
            out += kHex[c & 15];
        } else {
            out += char(c);
        }
    }
    return out;
}

// The "." and ".." segments of a path worked out, as a browser does.
std::string RemoveDotSegments(std::string_view path) {
    std::vector<std::string_view> segments;
    std::size_t start = 1;  // paths here always begin with "/"
    bool trailingSlash = false;
    while (start <= path.size()) {
        std::size_t end = path.find('/', start);
        if (end == std::string_view::npos) end = path.size();
        const std::string_view segment = path.substr(start, end - start);
        trailingSlash = false;
        if (segment == "..") {
            if (!segments.empty()) segments.pop_back();
            trailingSlash = true;
        } else if (segment == ".") {
            trailingSlash = true;
        } else {
            segments.push_back(segment);
        }
        start = end + 1;
    }
    std::string out;
    for (const auto& segment : segments) {
        out += '/';
        out += segment;
    }
    if (trailingSlash || out.empty()) out += '/';
    return out;
}

// "scheme:" before any "/" or "?": an absolute reference.
bool HasScheme(std::string_view ref) {
    const std::size_t colon = ref.find(':');
    if (colon == 0 || colon == std::string_view::npos || colon > ref.find_first_of("/?"))
        return false;
    for (std::size_t i = 0; i < colon; ++i) {
        const char c = ref[i];
        const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        if (!letter && (i == 0 || !((c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.')))
            return false;
    }
    return true;
}

// Splits a target into its path and the query with its "?".
void SplitTarget(std::string_view target, std::string_view& path, std::string_view& query) {
    const std::size_t mark = target.find('?');
    path = target.substr(0, mark);
    query = mark == std::string_view::npos ? std::string_view() : target.substr(mark);
}

LResult<HttpUrl> ParseAuthorityAndTarget(std::string scheme, std::string_view rest) {
    HttpUrl url;
    url.scheme = std::move(scheme);
    const std::size_t end = rest.find_first_of("/?#");
    std::string_view authority = rest.substr(0, end);
    std::string_view target = end == std::string_view::npos ? "" : rest.substr(end);
    if (authority.find('@') != std::string_view::npos)
        return MakeError(LErrorCode::kInvalid, "user names in web addresses are not supported");
    auto server = ParseServerName(authority, url.DefaultPort());
    if (!server) return server.Error();
    url.host = ToLowerAscii(server.Value().host);
    url.port = server.Value().port;
    if (!IsNumericHost(url.host)) {
        for (char c : url.host)
            if (!IsHostChar(c))
                return MakeError(LErrorCode::kInvalid, "\"%s\" is not a host name",
                                 url.host.c_str());
    } else if (authority.front() != '[' && url.host.find(':') != std::string::npos) {
        return MakeError(LErrorCode::kInvalid, "an IPv6 address in a web address needs brackets");
    }
    target = target.substr(0, target.find('#'));
    std::string_view path, query;
    SplitTarget(target, path, query);
    url.target = EncodeTarget(RemoveDotSegments(path.empty() ? "/" : path)) + EncodeTarget(query);
    return url;
}

}  // namespace

std::string HttpUrl::Authority() const {
    std::string text = host.find(':') != std::string::npos ? "[" + host + "]" : host;
    if (port != DefaultPort()) text += ":" + std::to_string(port);
    return text;
}

std::string HttpUrl::ToString() const {
    return scheme + "://" + Authority() + target;
}

LResult<HttpUrl> ParseHttpUrl(std::string_view text) {
    if (text.size() > kMaxUrlLength)
        return MakeError(LErrorCode::kInvalid, "a web address longer than %zu bytes",
                         kMaxUrlLength);
    if (HasControl(text))
        return MakeError(LErrorCode::kInvalid, "a web address with control characters");
    const std::size_t colon = text.find("://");
    if (colon == std::string_view::npos)
        return MakeError(LErrorCode::kInvalid, "\"%.*s\" is not a web address", int(text.size()),
                         text.data());
    const std::string scheme = ToLowerAscii(text.substr(0, colon));
    if (scheme != "http" && scheme != "https")
        return MakeError(LErrorCode::kUnsupported, "\"%s\" addresses are not supported",
                         scheme.c_str());
    return ParseAuthorityAndTarget(scheme, text.substr(colon + 3));
}

LResult<HttpUrl> ResolveHttpUrl(const HttpUrl& base, std::string_view reference) {
    const std::string_view ref = reference.substr(0, reference.find('#'));
    if (ref.size() > kMaxUrlLength)
        return MakeError(LErrorCode::kInvalid, "a web address longer than %zu bytes",
                         kMaxUrlLength);
    if (HasControl(ref))
        return MakeError(LErrorCode::kInvalid, "a web address with control characters");
    if (HasScheme(ref)) return ParseHttpUrl(ref);
    if (ref.substr(0, 2) == "//") return ParseAuthorityAndTarget(base.scheme, ref.substr(2));

    std::string_view basePath, baseQuery;
    SplitTarget(base.target, basePath, baseQuery);
    std::string_view refPath, refQuery;
    SplitTarget(ref, refPath, refQuery);
    std::string path;
    if (refPath.empty())
        path = std::string(basePath);
    else if (refPath.front() == '/')
        path = std::string(refPath);
    else
        path = std::string(basePath.substr(0, basePath.rfind('/') + 1)) + std::string(refPath);
    const std::string query =
        refPath.empty() && refQuery.empty() ? std::string(baseQuery) : std::string(refQuery);

    HttpUrl url = base;
    url.target = EncodeTarget(RemoveDotSegments(path)) + EncodeTarget(query);
    return url;
}

}  // namespace vocarta
