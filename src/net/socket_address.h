#pragma once
// Socket addresses (IPv4 and IPv6), server strings ("host", "host:port",
// "[v6]:port") and the resolver. A name resolves to every address it has, in
// the order the system's resolver gives them, and the caller tries them in turn.
//
// Threading: values and free functions; ResolveHost runs on the calling thread
// and blocks only until its time-out or a stop request.

#include <sys/socket.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "net/stop_flag.h"
#include "toolkit/result.h"

namespace vocarta {

class SocketAddress {
  public:
    SocketAddress() = default;
    SocketAddress(const sockaddr* address, socklen_t length);
    // A dotted IPv4 or an IPv6 address (without brackets); kInvalid otherwise.
    static LResult<SocketAddress> FromNumeric(std::string_view host, uint16_t port);

    bool IsValid() const { return length_ > 0; }
    int Family() const { return storage_.ss_family; }
    uint16_t Port() const;
    void SetPort(uint16_t port);
    // The numeric host: "127.0.0.1", "::1".
    std::string Host() const;
    // "127.0.0.1:21", "[::1]:21".
    std::string ToString() const;

    const sockaddr* Raw() const { return reinterpret_cast<const sockaddr*>(&storage_); }
    socklen_t Length() const { return length_; }

  private:
    sockaddr_storage storage_{};
    socklen_t length_ = 0;
};

struct ServerName {
    std::string host;  // a name or a numeric address, without brackets
    uint16_t port = 0;
};

// Splits "host", "host:port", "[v6]" or "[v6]:port"; a bare IPv6 address (two
// colons or more) has no port. `defaultPort` when none is given. A port that is
// not a number from 1 to 65535, or an empty host, is kInvalid.
LResult<ServerName> ParseServerName(std::string_view text, uint16_t defaultPort);

// True for a dotted IPv4 or an IPv6 address.
bool IsNumericHost(std::string_view host);

// Every address of `host` for a TCP connection to `port`. A name that does not
// resolve is kNotFound; the look-up ends with kCancelled on a stop request and
// kTimedOut after `timeoutMs` (negative: no limit), tested every 200 ms.
LResult<std::vector<SocketAddress>> ResolveHost(const std::string& host, uint16_t port,
                                                int timeoutMs, const StopFlag& stop = {});

}  // namespace vocarta
