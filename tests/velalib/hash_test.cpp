// Hashes of values, as peers compute them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "velalib.h"
#include "velalib_inline.h"

namespace {

u_int32 hash_text(const std::string &text) {
    const int32 length = static_cast<int32>(text.size());
    const u_int32 exported = SuperFastHash(text.data(), length, static_cast<u_int32>(length));
    EXPECT_EQ(vela_inline::SuperFastHash(text.data(), length, static_cast<u_int32>(length)), exported);
    return exported;
}

// Published values of the algorithm, whose customary seed is the length.
TEST(SuperFastHash, MatchesPublishedVectors) {
    EXPECT_EQ(hash_text("hello world"), 2794219650u);
    EXPECT_EQ(hash_text("helmo world"), 1006697176u);
    EXPECT_EQ(hash_text(std::string("hello\0 world", 12)), 2319902537u);
    EXPECT_EQ(hash_text(std::string("hello\0 worle", 12)), 553904462u);
    std::string every_byte;
    for (int i = 0; i < 4096; ++i) {
        every_byte.push_back(static_cast<char>((i % 256) - 128));
    }
    EXPECT_EQ(hash_text(every_byte), 2797962408u);
}

TEST(SuperFastHash, TakesTheLastByteAsSigned) {
    EXPECT_EQ(hash_text("hello w\xab"), 615571198u);
    EXPECT_EQ(hash_text("hello wo\xab"), 623474296u);
    EXPECT_EQ(hash_text("hello wor\xab"), 4278562408u);
    EXPECT_EQ(hash_text("hello worl\xab"), 3224633008u);
}

TEST(SuperFastHash, IsZeroWithoutData) {
    EXPECT_EQ(SuperFastHash(nullptr, 4, 9), 0u);
    EXPECT_EQ(SuperFastHash("abc", 0, 9), 0u);
    EXPECT_EQ(SuperFastHash("abc", -1, 9), 0u);
}

TEST(SuperFastHash, ReadsUnalignedDataAndChainsSeeds) {
    const std::string text = "0123456789abcdef";
    std::vector<char> shifted(text.size() + 1);
    std::copy(text.begin(), text.end(), shifted.begin() + 1);
    const int32 length = static_cast<int32>(text.size());
    EXPECT_EQ(SuperFastHash(shifted.data() + 1, length, 5), SuperFastHash(text.data(), length, 5));
    EXPECT_NE(SuperFastHash(text.data(), length, 5), SuperFastHash(text.data(), length, 6));
}

}  // namespace
