// The MX answer walker on arbitrary bytes as a DNS server could send them: it
// must read nothing outside the answer and give only a plain host name.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "transmit/mail/mail_resolver.h"

using namespace vocarta;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > kMxAnswerBytes) size = kMxAnswerBytes;
    const std::string name = FirstMailExchanger(data, size);
    for (char c : name)
        if (c == '\r' || c == '\n' || c == ' ' || c == '\0') abort();
    return 0;
}
