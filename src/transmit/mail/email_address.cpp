#include "transmit/mail/email_address.h"

#include <cctype>
#include <cstring>

namespace vocarta {

namespace {

bool IsLocalChar(unsigned char c) {
    return std::isalnum(c) || c >= 0x80 || (c != 0 && std::strchr("!#$%&'*+/=?^_`{|}~-", c));
}

bool IsValidLocalPart(std::string_view local) {
    if (local.empty() || local.front() == '.' || local.back() == '.') return false;
    for (std::size_t i = 0; i < local.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(local[i]);
        if (c == '.') {
            if (local[i - 1] == '.') return false;
        } else if (!IsLocalChar(c)) {
            return false;
        }
    }
    return true;
}

bool IsValidDomain(std::string_view domain) {
    if (domain.size() > 2 && domain.front() == '[' && domain.back() == ']') {
        for (char c : domain.substr(1, domain.size() - 2))
            if (!std::isxdigit(static_cast<unsigned char>(c)) && c != '.' && c != ':') return false;
        return true;
    }
    if (domain.empty() || domain.size() > 253) return false;
    std::size_t start = 0;
    while (true) {
        const std::size_t dot = domain.find('.', start);
        const std::string_view label = domain.substr(start, dot - start);
        if (label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-')
            return false;
        for (char c : label) {
            const unsigned char u = static_cast<unsigned char>(c);
            if (!std::isalnum(u) && u < 0x80 && c != '-') return false;
        }
        if (dot == std::string_view::npos) return true;
        start = dot + 1;
    }
}

}  // namespace

bool IsValidEmailAddress(std::string_view address) {
    const std::size_t at = address.rfind('@');
    return at != std::string_view::npos && IsValidLocalPart(address.substr(0, at)) &&
           IsValidDomain(address.substr(at + 1));
}

bool IsValidEmailList(std::string_view list) {
    bool any = false;
    std::size_t start = 0;
    while (start <= list.size()) {
        std::size_t end = list.find_first_of(" \t,", start);
        if (end == std::string_view::npos) end = list.size();
        const std::string_view piece = list.substr(start, end - start);
        if (!piece.empty()) {
            if (!IsValidEmailAddress(piece)) return false;
            any = true;
        }
        start = end + 1;
    }
    return any;
}

}  // namespace vocarta
