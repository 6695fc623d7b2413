#include "transmit/mail/mail_resolver.h"

#include <arpa/nameser.h>
#include <netdb.h>
#include <netinet/in.h>
#include <resolv.h>
#include <unistd.h>

#include <cstring>

#include "toolkit/log.h"

namespace vocarta {

namespace {
constexpr std::size_t kHeaderBytes = 12;
constexpr int kTypeMx = 15;
constexpr std::size_t kFixedRecordBytes = 10;  // type, class, TTL, data length

unsigned ReadU16(const unsigned char* p) {
    return unsigned(p[0]) << 8 | p[1];
}

// Characters that may stand in a host name given to the next server.
bool IsHostName(const char* name) {
    if (*name == '\0') return false;
    for (const char* p = name; *p; ++p) {
        const char c = *p;
        if (!((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
              c == '-' || c == '.' || c == '_'))
            return false;
    }
    return true;
}
}  // namespace

std::string FirstMailExchanger(const unsigned char* answer, std::size_t length) {
    if (length < kHeaderBytes) return {};
    const unsigned char* const end = answer + length;
    unsigned questions = ReadU16(answer + 4);
    unsigned answers = ReadU16(answer + 6);
    const unsigned char* p = answer + kHeaderBytes;
    while (questions-- > 0) {
        const int skipped = dn_skipname(p, end);
        if (skipped < 0 || end - p < skipped + 4) return {};
        p += skipped + 4;  // the name, its type and class
    }
    while (answers-- > 0) {
        const int skipped = dn_skipname(p, end);
        if (skipped < 0 || std::size_t(end - p) < std::size_t(skipped) + kFixedRecordBytes)
            return {};
        p += skipped;
        const unsigned type = ReadU16(p);
        const unsigned dataLength = ReadU16(p + 8);
        p += kFixedRecordBytes;
        if (std::size_t(end - p) < dataLength) return {};
        if (type == kTypeMx && dataLength >= 3) {
            char name[NS_MAXDNAME];
            // The exchange must lie inside its own record.
            const int used = dn_expand(answer, p + dataLength, p + 2, name, sizeof name);
            if (used < 0 || !IsHostName(name)) return {};
            return name;
        }
        p += dataLength;
    }
    return {};
}

std::string LookUpMailExchanger(const std::string& domain) {
    unsigned char answer[kMxAnswerBytes];
    const int length = res_query(domain.c_str(), C_IN, kTypeMx, answer, sizeof answer);
    if (length < 0) {
        LogEvent("No mail exchanger found for %s (h_errno %d); the domain itself is used",
                 domain.c_str(), h_errno);
        return domain;
    }
    const std::string exchanger = FirstMailExchanger(
        answer, std::size_t(length) < sizeof answer ? std::size_t(length) : sizeof answer);
    return exchanger.empty() ? domain : exchanger;
}

std::string LocalHostName() {
    char host[256] = {};
    if (gethostname(host, sizeof host - 1) != 0) {
        LogSystemFailure("LocalHostName", "gethostname");
        return "127.0.0.1";
    }
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_CANONNAME;
    addrinfo* found = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &found) != 0 || !found) return "127.0.0.1";
    std::string name;
    char reverse[NI_MAXHOST];
    if (getnameinfo(found->ai_addr, found->ai_addrlen, reverse, sizeof reverse, nullptr, 0,
                    NI_NAMEREQD) == 0 &&
        IsHostName(reverse))
        name = reverse;
    else if (found->ai_canonname && IsHostName(found->ai_canonname))
        name = found->ai_canonname;
    freeaddrinfo(found);
    return name.empty() ? "127.0.0.1" : name;
}

}  // namespace vocarta
