#include "net/socket_address.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include "net/wait.h"
#include "toolkit/log.h"

namespace vocarta {

SocketAddress::SocketAddress(const sockaddr* address, socklen_t length) {
    if (!address || length == 0 || length > socklen_t(sizeof storage_)) return;
    if (address->sa_family != AF_INET && address->sa_family != AF_INET6) return;
    std::memcpy(&storage_, address, length);
    length_ = length;
}

LResult<SocketAddress> SocketAddress::FromNumeric(std::string_view host, uint16_t port) {
    const std::string text(host);
    sockaddr_in v4{};
    if (inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(port);
        return SocketAddress(reinterpret_cast<sockaddr*>(&v4), sizeof v4);
    }
    sockaddr_in6 v6{};
    if (inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1) {
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(port);
        return SocketAddress(reinterpret_cast<sockaddr*>(&v6), sizeof v6);
    }
    return MakeError(LErrorCode::kInvalid, "\"%s\" is not a numeric address", text.c_str());
}

uint16_t SocketAddress::Port() const {
    if (Family() == AF_INET)
        return ntohs(reinterpret_cast<const sockaddr_in*>(&storage_)->sin_port);
    if (Family() == AF_INET6)
        return ntohs(reinterpret_cast<const sockaddr_in6*>(&storage_)->sin6_port);
    return 0;
}

void SocketAddress::SetPort(uint16_t port) {
    if (Family() == AF_INET) reinterpret_cast<sockaddr_in*>(&storage_)->sin_port = htons(port);
    if (Family() == AF_INET6) reinterpret_cast<sockaddr_in6*>(&storage_)->sin6_port = htons(port);
}

std::string SocketAddress::Host() const {
    char text[INET6_ADDRSTRLEN] = "";
    if (Family() == AF_INET)
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(&storage_)->sin_addr, text,
                  sizeof text);
    else if (Family() == AF_INET6)
        inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(&storage_)->sin6_addr, text,
                  sizeof text);
    return text;
}

std::string SocketAddress::ToString() const {
    if (Family() == AF_INET6) return "[" + Host() + "]:" + std::to_string(Port());
    return Host() + ":" + std::to_string(Port());
}

bool IsNumericHost(std::string_view host) {
    return SocketAddress::FromNumeric(host, 0).Ok();
}

namespace {
LResult<uint16_t> ParsePort(std::string_view text, std::string_view whole) {
    unsigned value = 0;
    bool ok = !text.empty() && text.size() <= 5;
    for (char c : text) {
        if (c < '0' || c > '9') ok = false;
        value = value * 10 + unsigned(c - '0');
    }
    if (!ok || value == 0 || value > 65535)
        return MakeError(LErrorCode::kInvalid, "\"%.*s\" has no valid port", int(whole.size()),
                         whole.data());
    return uint16_t(value);
}
}  // namespace

LResult<ServerName> ParseServerName(std::string_view text, uint16_t defaultPort) {
    std::string_view trimmed = text;
    while (!trimmed.empty() && (trimmed.front() == ' ' || trimmed.front() == '\t'))
        trimmed.remove_prefix(1);
    while (!trimmed.empty() && (trimmed.back() == ' ' || trimmed.back() == '\t'))
        trimmed.remove_suffix(1);
    ServerName server{std::string(trimmed), defaultPort};
    if (!trimmed.empty() && trimmed.front() == '[') {
        const size_t close = trimmed.find(']');
        if (close == std::string_view::npos)
            return MakeError(LErrorCode::kInvalid, "\"%s\" lacks its closing bracket",
                             server.host.c_str());
        std::string_view rest = trimmed.substr(close + 1);
        server.host = std::string(trimmed.substr(1, close - 1));
        if (!rest.empty()) {
            if (rest.front() != ':')
                return MakeError(LErrorCode::kInvalid, "\"%.*s\" is not a server address",
                                 int(trimmed.size()), trimmed.data());
            auto port = ParsePort(rest.substr(1), trimmed);
            if (!port) return port.Error();
            server.port = port.Value();
        }
    } else if (std::count(trimmed.begin(), trimmed.end(), ':') == 1) {
        const size_t colon = trimmed.find(':');
        auto port = ParsePort(trimmed.substr(colon + 1), trimmed);
        if (!port) return port.Error();
        server.host = std::string(trimmed.substr(0, colon));
        server.port = port.Value();
    }
    if (server.host.empty())
        return MakeError(LErrorCode::kInvalid, "\"%.*s\" names no host", int(trimmed.size()),
                         trimmed.data());
    return server;
}

namespace {
// One look-up on its own thread, so that the caller can give up on it: the
// system resolver can neither be cancelled nor given a time-out. Whichever side
// finishes last frees the answer.
struct Lookup {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
    bool abandoned = false;
    int status = 0;
    int savedErrno = 0;
    addrinfo* answer = nullptr;
    std::string host, service;
};

void RunLookup(const std::shared_ptr<Lookup>& lookup) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* answer = nullptr;
    int status = getaddrinfo(lookup->host.c_str(), lookup->service.c_str(), &hints, &answer);
    int savedErrno = errno;
    std::lock_guard<std::mutex> lock(lookup->mutex);
    if (lookup->abandoned) {
        if (answer) freeaddrinfo(answer);
        return;
    }
    lookup->status = status;
    lookup->savedErrno = savedErrno;
    lookup->answer = answer;
    lookup->finished = true;
    lookup->done.notify_all();
}
}  // namespace

LResult<std::vector<SocketAddress>> ResolveHost(const std::string& host, uint16_t port,
                                                int timeoutMs, const StopFlag& stop) {
    if (auto numeric = SocketAddress::FromNumeric(host, port))
        return std::vector<SocketAddress>{numeric.Value()};
    if (host.empty()) return MakeError(LErrorCode::kInvalid, "no host name given");

    auto lookup = std::make_shared<Lookup>();
    lookup->host = host;
    lookup->service = std::to_string(port);
    try {
        std::thread(RunLookup, lookup).detach();
    } catch (const std::system_error& e) {
        LogError("ResolveHost std::thread FAILED: %s", e.what());
        return MakeError(LErrorCode::kFailed, "cannot look up \"%s\": %s", host.c_str(), e.what());
    }

    const Deadline deadline(timeoutMs);
    std::unique_lock<std::mutex> lock(lookup->mutex);
    while (!lookup->finished) {
        if (stop.Requested() || deadline.Passed()) {
            lookup->abandoned = true;
            if (stop.Requested()) return StoppedError();
            return MakeError(LErrorCode::kTimedOut, "looking up \"%s\" timed out", host.c_str());
        }
        lookup->done.wait_for(lock, std::chrono::milliseconds(std::min(
                                        kWaitSliceMs, std::max(1, deadline.RemainingMs()))));
    }
    std::unique_ptr<addrinfo, void (*)(addrinfo*)> answer(lookup->answer, freeaddrinfo);
    lookup->answer = nullptr;
    if (lookup->status != 0) {
        const char* why = lookup->status == EAI_SYSTEM ? std::strerror(lookup->savedErrno)
                                                       : gai_strerror(lookup->status);
        LogError("ResolveHost getaddrinfo FAILED: %s (%s)", why, host.c_str());
        return MakeError(lookup->status == EAI_AGAIN ? LErrorCode::kNetwork : LErrorCode::kNotFound,
                         "cannot find the server \"%s\": %s", host.c_str(), why);
    }
    std::vector<SocketAddress> addresses;
    for (const addrinfo* a = answer.get(); a; a = a->ai_next) {
        SocketAddress address(a->ai_addr, a->ai_addrlen);
        if (address.IsValid()) addresses.push_back(address);
    }
    if (addresses.empty())
        return MakeError(LErrorCode::kNotFound, "the server \"%s\" has no address", host.c_str());
    return addresses;
}

}  // namespace vocarta
