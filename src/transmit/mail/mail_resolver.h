#pragma once
// The names a direct delivery needs: the recipient domain's mail exchanger (a
// DNS MX query through the system's resolver, libresolv) and this machine's own
// name for EHLO/HELO.
//
// Threading: any thread; each call blocks for as long as the system's resolver
// takes (its own time-outs bound it).

#include <cstddef>
#include <string>

namespace vocarta {

// Size of the buffer a DNS answer is read into.
inline constexpr std::size_t kMxAnswerBytes = 512;

// The exchange name of the first MX record in answer order (its preference is
// read and not used), or empty when the answer holds none or is malformed. Reads
// nothing outside `answer`.
std::string FirstMailExchanger(const unsigned char* answer, std::size_t length);

// Where mail for `domain` goes: the first MX record's exchange, or the domain
// itself when the query fails or holds none.
std::string LookUpMailExchanger(const std::string& domain);

// The canonical name of this machine from a reverse look-up of its own address,
// else from looking up the system's host name, else "127.0.0.1".
std::string LocalHostName();

}  // namespace vocarta
