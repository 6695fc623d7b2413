#include "toolkit/result.h"

#include <gtest/gtest.h>

#include <memory>

namespace vocarta {
namespace {

LResult<std::unique_ptr<int>> MakeOwned(bool ok) {
    if (!ok) return MakeError(LErrorCode::kNotFound, "no %s at %d", "value", 7);
    return std::make_unique<int>(42);
}

// A move-only value must travel out whole, and an error keep its code and text.
TEST(ResultTest, CarriesAMoveOnlyValueOrAnErrorWithItsContext) {
    LResult<std::unique_ptr<int>> good = MakeOwned(true);
    ASSERT_TRUE(good.Ok());
    std::unique_ptr<int> taken = std::move(good).Value();
    EXPECT_EQ(*taken, 42);

    LResult<std::unique_ptr<int>> bad = MakeOwned(false);
    ASSERT_FALSE(bad);
    EXPECT_EQ(bad.Error().Code(), LErrorCode::kNotFound);
    EXPECT_EQ(bad.Error().Message(), "no value at 7");
    EXPECT_EQ(bad.Error().Within("reading x").Message(), "reading x: no value at 7");
    EXPECT_STREQ(ErrorCodeName(bad.Error().Code()), "not found");

    LStatus done;
    EXPECT_TRUE(done.Ok());
    LStatus stopped = LError(LErrorCode::kCancelled, "stopped");
    EXPECT_TRUE(stopped.Error().IsCancelled());
    EXPECT_EQ(LResult<int>(LError(LErrorCode::kIo, "x")).ValueOr(5), 5);
}

}  // namespace
}  // namespace vocarta
