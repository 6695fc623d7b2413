#include "app/command_record.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

using namespace vocarta;

TEST(CommandRecord, PackCapsCountAndCutsArguments) {
    std::vector<std::string> args;
    for (int i = 0; i < 200; ++i) args.push_back("arg" + std::to_string(i));
    args[5] = std::string(300, 'x');
    CommandLineRecord record;
    std::memset(static_cast<void*>(&record), 0x5a, sizeof record);  // leftovers must not survive
    PackCommandLine(args, record);
    EXPECT_EQ(record.count, 128);

    std::vector<std::string> out;
    std::string why;
    ASSERT_TRUE(UnpackCommandLine(&record, sizeof record, out, why)) << why;
    ASSERT_EQ(out.size(), 128u);
    EXPECT_EQ(out[127], "arg127");
    EXPECT_EQ(out[5], std::string(259, 'x'));

    PackCommandLine({"vocarta", "-stop"}, record);
    static CommandLineRecord expected;  // all zero
    expected.count = 2;
    std::memcpy(expected.args[0], "vocarta", 7);
    std::memcpy(expected.args[1], "-stop", 5);
    EXPECT_EQ(std::memcmp(&record, &expected, sizeof record), 0) << "unused bytes must be zero";
}

TEST(CommandRecord, RefusesBadRecords) {
    CommandLineRecord record;
    PackCommandLine({"vocarta", "-record"}, record);
    std::vector<std::string> out;
    std::string why;

    for (int32_t count : {-1, 0, 129, 0x7fffffff, int32_t(0x80000000)}) {
        CommandLineRecord bad = record;
        bad.count = count;
        EXPECT_FALSE(UnpackCommandLine(&bad, sizeof bad, out, why)) << count;
        EXPECT_TRUE(out.empty());
    }
    // Short and over-long records.
    EXPECT_FALSE(UnpackCommandLine(&record, sizeof record - 1, out, why));
    EXPECT_FALSE(UnpackCommandLine(&record, 4, out, why));
    std::vector<char> longer(sizeof record + 1, 0);
    std::memcpy(longer.data(), &record, sizeof record);
    EXPECT_FALSE(UnpackCommandLine(longer.data(), longer.size(), out, why));

    // A used slot with no terminator anywhere in its 260 bytes.
    CommandLineRecord open = record;
    std::memset(open.args[1], 'A', kForwardedArgSize);
    EXPECT_FALSE(UnpackCommandLine(&open, sizeof open, out, why));
    EXPECT_NE(why.find("argument 1"), std::string::npos);

    // Random bytes, many times over.
    std::mt19937 random(7);
    std::vector<unsigned char> garbage(sizeof record);
    int accepted = 0;
    for (int round = 0; round < 200; ++round) {
        for (auto& b : garbage) b = static_cast<unsigned char>(random());
        if (UnpackCommandLine(garbage.data(), garbage.size(), out, why)) ++accepted;
    }
    EXPECT_EQ(accepted, 0);
}
