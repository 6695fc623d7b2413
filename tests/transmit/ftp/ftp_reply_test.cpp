// The control connection's readers on their own: replies in any pieces, the
// texts the client acts on, the progress count, and a mutation run that feeds
// them hostile bytes (as the fuzz target does at length).

#include "transmit/ftp/ftp_reply.h"

#include <gtest/gtest.h>

#include <random>

#include "toolkit/text.h"
#include "transmit/ftp/ftp_upload_progress.h"

using namespace vocarta;

namespace {

// Every reply `bytes` make when they arrive `step` bytes at a time; the
// assembler's error as a reply of code -1.
std::vector<FtpReply> Replies(const std::string& bytes, std::size_t step) {
    FtpLineSplitter lines;
    FtpReplyAssembler assembler;
    std::vector<FtpReply> replies;
    for (std::size_t at = 0; at < bytes.size(); at += step) {
        if (!lines.Append(std::string_view(bytes).substr(at, step))) {
            replies.push_back({-1, {"line too long"}});
            return replies;
        }
        while (auto line = lines.NextLine()) {
            auto outcome = assembler.Add(*line);
            if (outcome == FtpReplyAssembler::Outcome::kDone) replies.push_back(assembler.Take());
            if (outcome == FtpReplyAssembler::Outcome::kFailed) {
                replies.push_back({-1, {assembler.Error()}});
                return replies;
            }
        }
    }
    return replies;
}

TEST(FtpReplyTest, RepliesAreTheSameWhateverPiecesTheyArriveIn) {
    const std::string bytes =
        "220-Welcome\r\n220-  to the server\r\n220 Ready\r\n331 Password\n"
        "211-Features:\r\n MLST size*;\r\n211-still going\r\n 211 not yet\r\n211 End\r\n226\r\n";
    for (std::size_t step = 1; step <= bytes.size(); ++step) {
        auto r = Replies(bytes, step);
        ASSERT_EQ(r.size(), 4u) << step;
        EXPECT_EQ(StringPrintf("%d %zu %s %zu %d %d", r[0].code, r[0].lines.size(),
                               r[1].Message().c_str(), r[2].lines.size(), r[3].code,
                               int(r[3].Positive())),
                  "220 3 Password 5 226 1")
            << step;
    }
}

TEST(FtpReplyTest, RepliesOutsideTheProtocolAndOverTheirBoundsAreRefused) {
    for (const char* bad :
         {"hello\r\n", "600 six hundred\r\n", "22 short\r\n", "220x\r\n", "\r\n"}) {
        auto replies = Replies(bad, 3);
        ASSERT_EQ(replies.size(), 1u) << bad;
        EXPECT_EQ(replies[0].code, -1) << bad;
    }
    EXPECT_EQ(Replies("220 " + std::string(kFtpLineLimit + 10, 'x'), 512).back().code, -1);
    std::string endless = "211-x\r\n";
    for (std::size_t i = 0; i < kFtpReplyLineLimit + 5; ++i) endless += " line\r\n";
    EXPECT_EQ(Replies(endless, 4096).back().code, -1);
    // Complete lines never count against the limit, however many wait.
    std::string many;
    for (int i = 0; i < 200; ++i) many += "200 " + std::string(100, 'a') + "\r\n";
    EXPECT_EQ(Replies(many, many.size()).size(), 200u);
}

TEST(FtpReplyTest, PassiveRepliesGiveSixNumbersOrNothing) {
    auto spec = ParsePassiveReply("227 Entering Passive Mode (10,0,0,5,19,137).");
    ASSERT_TRUE(spec);
    EXPECT_EQ(spec->Host(), "10.0.0.5");
    EXPECT_EQ(spec->Port(), 5001u);
    auto blanks = ParsePassiveReply("227 =( 127, 0 ,0,1,  4,1)");
    ASSERT_TRUE(blanks);
    EXPECT_EQ(blanks->Port(), 1025u);
    EXPECT_EQ(ParsePassiveReply("227 (1,2,3,4,5,6,7)")->Host(), "1.2.3.4");
    for (const char* bad :
         {"227 Entering Passive Mode (127,0,0,1,19).", "227 127,0,0,1,4,1", "227 (a,b,c,d,e,f)",
          "227 (1,2,3,4,5,)", "227 (1,2,3,4,5,1000000000)", "227 (", ""})
        EXPECT_FALSE(ParsePassiveReply(bad)) << bad;
}

TEST(FtpReplyTest, FeaturesPathsAndSizes) {
    const FtpFeatures f = ParseFeatures(
        {"211-Features:", " MDTM", " MFMT", " MLST type*;size*;modify*;perm;", " UTF8", "211 End"});
    EXPECT_TRUE(f.mdtm && f.mfmt && f.mlst && f.mlstType && f.mlstSize && f.mlstModify && f.utf8);
    EXPECT_FALSE(f.size);  // "size*" is an MLST fact, not the SIZE command
    EXPECT_FALSE(f.mlsd);
    EXPECT_TRUE(ParseFeatures({" MLSD"}).mlsd);

    const std::pair<const char*, const char*> pwd[] = {
        {"257 \"/a \"\"b\"\" c\" is current", "/a \"b\" c"},
        {"257 \"\" empty", ""},
        {"257 \"/unterminated", "-"},
        {"257 /no/quotes", "-"}};
    for (const auto& [reply, path] : pwd) EXPECT_EQ(ParsePwdReply(reply).value_or("-"), path);
    // Sizes from MLST facts ("sizd" for folders) and SIZE replies; -1: none.
    const std::pair<FtpReply, int64_t> sizes[] = {
        {{250, {"250-Listing x", " Type=file;Size=1234;Modify=20240102030405; x", "250 End."}},
         1234},
        {{250, {"250- type=dir;sizd=4096; d", "250 End"}}, 4096},
        {{250, {"250-x", " type=file; x", "250 End"}}, -1},
        {{250, {"250-x", " size=12a; x", "250 End"}}, -1}};
    for (const auto& [reply, size] : sizes) EXPECT_EQ(ParseMlstSize(reply).value_or(-1), size);
    EXPECT_EQ(ParseSizeReply({213, {"213 987654321012"}}).value_or(-1), 987654321012);
    EXPECT_EQ(ParseSizeReply({213, {"213 -1"}}).value_or(-2), -2);
    EXPECT_FALSE(ParseSizeReply({550, {"550 No such file"}}));
    EXPECT_FALSE(ParseDecimal("99999999999999999999"));
    EXPECT_EQ(ParseDecimal("9223372036854775807"), INT64_MAX);
}

TEST(FtpUploadProgressTest, SmallFilesCountEachBlockLargeOnesInStepsOfOnePercent) {
    FtpUploadProgress small(50 * 1024, 0);  // 50 blocks
    int changes = 0;
    for (int b = 0; b < 50; ++b) changes += small.Block();
    EXPECT_EQ(changes, 50);
    EXPECT_DOUBLE_EQ(small.Fraction(), 1.0);
    EXPECT_EQ(small.StatusText("a.wav"), "a.wav: 100%");

    FtpUploadProgress large(10 * 1024 * 1024, 0);  // 10240 blocks, a step every 102
    std::vector<int> steps;
    for (int b = 0; b < 10240; ++b)
        if (large.Block()) steps.push_back(b);
    ASSERT_EQ(steps.size(), 100u);
    EXPECT_EQ(steps[0], 101);
    EXPECT_EQ(large.StatusText("b.wav"), "b.wav: 100%");

    FtpUploadProgress resumed(100 * 1024, 25 * 1024);
    EXPECT_DOUBLE_EQ(resumed.Fraction(), 0.25);
    EXPECT_EQ(resumed.StatusText("c"), "c: 25%");
    FtpUploadProgress tiny(4, 0);  // one block of a 4-byte file jumps past the end
    EXPECT_TRUE(tiny.Block());
    EXPECT_DOUBLE_EQ(tiny.Fraction(), 1.0);
    EXPECT_FALSE(FtpUploadProgress(0, 0).Block());
    EXPECT_EQ(FtpUploadProgress(1 << 20, 0).StatusText("d"), "d:  0%");
}

TEST(FtpReplyTest, MutatedRepliesNeverBreakTheReaders) {
    const std::vector<std::string> seeds = {
        "220-Welcome\r\n220 Ready\r\n", "227 Entering Passive Mode (10,0,0,5,19,137).\r\n",
        "211-Features:\r\n MLST type*;size*;\r\n MLSD\r\n211 End\r\n",
        "257 \"/a \"\"b\"\"\" is current\r\n", "250-x\r\n type=file;size=12; x\r\n250 End\r\n"};
    std::mt19937 random(20240601);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes = seeds[round % seeds.size()];
        const int edits = 1 + int(random() % 8);
        for (int e = 0; e < edits; ++e) {
            const std::size_t at = bytes.empty() ? 0 : random() % bytes.size();
            const auto kind = random() % 4;
            if (kind == 0 && !bytes.empty()) bytes[at] = char(random());
            if (kind == 1) bytes.insert(at, 1 + random() % 3, char(random()));
            if (kind == 2 && !bytes.empty()) bytes.erase(at, 1 + random() % 4);
            if (kind == 3) bytes.insert(at, std::string("\r\n,()\"-;= ").substr(random() % 10, 1));
        }
        for (const FtpReply& reply : Replies(bytes, 1 + random() % 16)) {
            if (reply.code == -1) continue;
            ASSERT_GE(reply.code, 100);
            ASSERT_LE(reply.code, 599);
            ASSERT_LE(reply.lines.size(), kFtpReplyLineLimit);
            ParseFeatures(reply.lines);
            ParseMlstSize(reply);
            ParseSizeReply(reply);
        }
        if (auto numbers = ParsePassiveReply(bytes)) {
            for (unsigned v : numbers->values) ASSERT_LT(v, 1000000000u);
        }
        auto path = ParsePwdReply(bytes);
        ASSERT_TRUE(!path || path->size() <= bytes.size());
    }
}

}  // namespace
