// The reply reader: how replies end, their codes and texts, lines cut not grown,
// what is left for the next reply, and arbitrary bytes in arbitrary pieces.

#include "transmit/mail/smtp_reply.h"

#include <gtest/gtest.h>

#include <random>

using namespace vocarta;

namespace {
// Feeds `bytes` in pieces of `step`; the replies read, and what was left over.
std::vector<SmtpReply> ReadAll(const std::string& bytes, std::size_t step, std::string* left) {
    std::vector<SmtpReply> replies;
    SmtpReplyReader reader;
    std::size_t at = 0;
    while (at < bytes.size()) {
        const std::size_t n = std::min(step, bytes.size() - at);
        at += reader.Feed(std::string_view(bytes).substr(at, n));
        if (reader.Failed()) break;
        if (reader.Done()) {
            replies.push_back(reader.Reply());
            reader.Reset();
        }
    }
    if (left) *left = reader.Done() ? "" : "(unfinished)";
    return replies;
}
}  // namespace

TEST(SmtpReplyTest, ContinuationLinesEndAtTheFirstLineWithoutADash) {
    for (std::size_t step : {1u, 3u, 512u}) {
        std::string left;
        const auto replies = ReadAll(
            "250-mail.test\r\n250-SIZE 10\r\n250-STARTTLS\r\n250 AUTH LOGIN\r\n"
            "220\n25\r\nabc\n550 5.1.1 <x@y>: Recipient: unknown\r\n354-",
            step, &left);
        ASSERT_EQ(replies.size(), 5u) << step;
        EXPECT_EQ(replies[0].lines, 4);
        EXPECT_TRUE(replies[0].offersStartTls);
        // Three characters end a reply; "abc" has no number at all.
        std::vector<int> codes;
        for (const auto& r : replies) codes.push_back(r.code);
        EXPECT_EQ(codes, (std::vector<int>{250, 220, 25, 0, 550}));
        // After the first ":", CRs left out.
        EXPECT_EQ(replies[4].text, " Recipient: unknown");
        EXPECT_EQ(left, "(unfinished)");
    }
}

TEST(SmtpReplyTest, LongLinesAreCutAndTextIsBoundedAndTame) {
    SmtpReplyReader reader;
    const std::string line = "250-" + std::string(5000, 'a') + "STARTTLS\r\n";
    reader.Feed(line);
    EXPECT_FALSE(reader.Done());
    // The word was beyond the 258 characters kept.
    reader.Feed("250-x: \x1b[31mred\x07" + std::string(400, 'b') + "\r\n250 " +
                std::string(400, 'c') + "\r\nnext");
    ASSERT_TRUE(reader.Done());
    EXPECT_FALSE(reader.Reply().offersStartTls);
    EXPECT_EQ(reader.Reply().text.size(), kSmtpReplyTextMax);
    EXPECT_EQ(reader.Reply().text.substr(0, 12), "  [31mred bb");

    // The line that makes the reply end is found by its fourth character even
    // when cut: and a reply of endless continuation lines is refused.
    SmtpReplyReader endless;
    for (int i = 0; i < kSmtpReplyLinesMax + 5 && !endless.Failed(); ++i) endless.Feed("250-x\r\n");
    EXPECT_TRUE(endless.Failed());
    EXPECT_FALSE(endless.Done());
}

TEST(SmtpReplyTest, MutatedInputNeverBreaksTheReader) {
    const std::string seeds[] = {"220 mail.test ESMTP\r\n", "250-a\r\n250-STARTTLS\r\n250 b\r\n",
                                 "550 5.1.1 <a@b>: no\r\n", "334 VXNlcm5hbWU6\r\n",
                                 std::string(600, '-') + "\n"};
    std::mt19937 random(14);
    for (int round = 0; round < 3000; ++round) {
        std::string bytes = seeds[round % 5] + seeds[random() % 5];
        const int edits = 1 + int(random() % 8);
        for (int e = 0; e < edits; ++e) {
            const std::size_t at = random() % bytes.size();
            const auto kind = random() % 3;
            if (kind == 0) bytes[at] = char(random());
            if (kind == 1) bytes.insert(at, 1, "\n\r-: "[random() % 5]);
            if (kind == 2) bytes.erase(at, 1 + random() % 4);
            if (bytes.empty()) bytes = "x";
        }
        SmtpReplyReader reader;
        std::size_t used = 0;
        const std::size_t step = 1 + random() % 600;
        while (used < bytes.size() && !reader.Failed()) {
            const std::size_t took = reader.Feed(std::string_view(bytes).substr(used, step));
            ASSERT_LE(took, step);
            used += took;
            if (reader.Done()) {
                ASSERT_LE(reader.Reply().text.size(), kSmtpReplyTextMax);
                ASSERT_GE(reader.Reply().code, 0);
                reader.Reset();
            }
        }
    }
}
