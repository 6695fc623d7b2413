#pragma once
// http and https URLs: parsing, and resolving a redirect's Location (absolute,
// scheme-relative, absolute-path or relative, with "." and ".." segments)
// against the URL of the request it answers.
//
// Threading: values and free functions.

#include <cstdint>
#include <string>
#include <string_view>

#include "toolkit/result.h"

namespace vocarta {

struct HttpUrl {
    std::string scheme;  // "http" or "https"
    std::string host;    // lower case; an IPv6 address without brackets
    uint16_t port = 0;
    std::string target;  // path and query, always starting with "/"

    bool IsTls() const { return scheme == "https"; }
    uint16_t DefaultPort() const { return IsTls() ? 443 : 80; }
    // The Host header's value: the host ("[v6]" in brackets) and ":port" when
    // the port is not the scheme's own.
    std::string Authority() const;
    std::string ToString() const;
};

// An absolute http or https URL. User names in URLs, control characters and
// hosts that are not names or addresses are kInvalid; blanks and bytes beyond
// ASCII in the path and query are percent-encoded; a fragment is dropped.
LResult<HttpUrl> ParseHttpUrl(std::string_view text);

// A reference (a Location header) resolved against the URL it came from.
LResult<HttpUrl> ResolveHttpUrl(const HttpUrl& base, std::string_view reference);

}  // namespace vocarta
