#include "audio/codecs/lame_library.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "support/audio_test_util.h"
#include "support/temp_dir.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

// Builds a shared library that defines every LAME function of the table except
// `leaveOut`, so the loader finds all the others first.
std::string BuildIncompleteLame(const TempDir& dir, const std::string& leaveOut) {
    std::string source;
#define VOCARTA_TEST_STUB(name, type) \
    if (std::string(#name) != leaveOut) source += "void " #name "(void) {}\n";
    VOCARTA_LAME_FUNCTIONS(VOCARTA_TEST_STUB)
#undef VOCARTA_TEST_STUB
    const std::string c = dir.File("stub.c"), so = dir.File("lib" + leaveOut + ".so");
    EXPECT_TRUE(WriteFile(c, source));
    ToolResult r = RunTool({"cc", "-shared", "-fPIC", "-o", so, c}, true);
    EXPECT_EQ(r.status, 0) << "cc is needed to build the test library: " << r.out;
    return so;
}

bool TableIsEmpty(const LameFunctions& table) {
    bool empty = true;
#define VOCARTA_TEST_EMPTY(name, type) empty = empty && table.name == nullptr;
    VOCARTA_LAME_FUNCTIONS(VOCARTA_TEST_EMPTY)
#undef VOCARTA_TEST_EMPTY
    return empty;
}

}  // namespace

TEST(LameLibrary, ResolvesTheWholeTableOrNothing) {
    TempDir dir;
    LameFunctions table;
    std::string error;
    // One function missing, near the end or the last of the table: nothing of
    // the table may be used.
    for (const char* missing : {"lame_encode_flush", "lame_get_lametag_frame"}) {
        EXPECT_FALSE(ResolveLameLibrary(BuildIncompleteLame(dir, missing), table, &error));
        EXPECT_NE(error.find(missing), std::string::npos) << error;
        EXPECT_TRUE(TableIsEmpty(table));
    }

    // A library file that is not there: the message names the package.
    EXPECT_FALSE(ResolveLameLibrary(dir.File("libmp3lame.so.0"), table, &error));
    EXPECT_NE(error.find(kLamePackage), std::string::npos) << error;
    EXPECT_TRUE(TableIsEmpty(table));

    // The real library resolves completely.
    ASSERT_TRUE(ResolveLameLibrary(kLameLibraryName, table, &error)) << error;
    EXPECT_NE(table.lame_encode_buffer_interleaved_ieee_float, nullptr);
    EXPECT_STRNE(table.get_lame_short_version(), "");
}
