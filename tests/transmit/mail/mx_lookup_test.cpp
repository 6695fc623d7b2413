// The MX look-up: answers as a DNS server sends them (compressed names, other
// records first, several MX records, truncated or hostile bytes), and direct
// delivery for real in a private network with its own DNS server.

#include <arpa/nameser.h>
#include <gtest/gtest.h>

#include "transmit/mail/mail_resolver.h"

using namespace vocarta;

namespace {
using Bytes = std::vector<unsigned char>;

void Name(Bytes& b, const std::vector<std::string>& labels) {
    for (const auto& l : labels) {
        b.push_back(uint8_t(l.size()));
        b.insert(b.end(), l.begin(), l.end());
    }
    b.push_back(0);
}

void U16(Bytes& b, unsigned v) {
    b.push_back(uint8_t(v >> 8));
    b.push_back(uint8_t(v));
}

// A reply for "example.test" MX: the question, then `records` as given.
Bytes Answer(const std::vector<Bytes>& records) {
    Bytes b = {0x12, 0x34, 0x81, 0x80, 0, 1};
    U16(b, unsigned(records.size()));
    b.insert(b.end(), {0, 0, 0, 0});
    Name(b, {"example", "test"});  // at offset 12
    U16(b, 15);
    U16(b, 1);
    for (const Bytes& r : records) b.insert(b.end(), r.begin(), r.end());
    return b;
}

// A record owned by the question's name (a pointer to offset 12).
Bytes Record(unsigned type, const Bytes& data) {
    Bytes b = {0xC0, 12};
    U16(b, type);
    U16(b, 1);
    b.insert(b.end(), {0, 0, 0x0E, 0x10});
    U16(b, unsigned(data.size()));
    b.insert(b.end(), data.begin(), data.end());
    return b;
}

Bytes Mx(unsigned preference, const std::vector<std::string>& labels, bool pointToDomain) {
    Bytes d;
    U16(d, preference);
    Name(d, labels);
    if (pointToDomain) d.back() = 0xC0, d.push_back(12);  // the pointer in place of the end
    return d;
}

std::string First(const Bytes& b) {
    return FirstMailExchanger(b.data(), b.size());
}
}  // namespace

TEST(MxLookupTest, FirstMxRecordInAnswerOrder) {
    // A CNAME first; then preference 20 before 10: answer order wins.
    const Bytes answer =
        Answer({Record(5, Mx(0, {"alias"}, true)), Record(15, Mx(20, {"mx2"}, true)),
                Record(15, Mx(10, {"mx1", "other", "net"}, false))});
    EXPECT_EQ(First(answer), "mx2.example.test");
    EXPECT_EQ(First(Answer({Record(15, Mx(5, {"in", "mail", "net"}, false))})), "in.mail.net");
    EXPECT_EQ(First(Answer({})), "");
    EXPECT_EQ(First(Answer({Record(1, {127, 0, 0, 1})})), "");
}

TEST(MxLookupTest, MalformedAnswersGiveNothing) {
    const Bytes good = Answer({Record(15, Mx(10, {"mx"}, true))});
    for (std::size_t cut = 0; cut < good.size(); ++cut)
        EXPECT_EQ(First(Bytes(good.begin(), good.begin() + long(cut))), "") << cut;
    // A compression loop, a pointer past the end, an exchange with a line break.
    Bytes loop = Answer({Record(15, {0, 10, 0xC0, 0})});
    loop[loop.size() - 1] = uint8_t(loop.size() - 2);
    EXPECT_EQ(First(loop), "");
    EXPECT_EQ(First(Answer({Record(15, {0, 10, 0xC0, 0xFF})})), "");
    EXPECT_EQ(First(Answer({Record(15, Mx(10, {"evil\r\nRCPT"}, false))})), "");
    // A record length that runs past the answer.
    Bytes longer = good;
    longer[longer.size() - 9] = 0x40;
    EXPECT_EQ(First(longer), "");
}
