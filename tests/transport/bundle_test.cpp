// Bundles: what fits, what is refused, and what a reader makes of damaged ones.
#include "vela_bundle.h"

#include <cstring>

#include "frames.h"

namespace {

using test::bytes;
using test::make_message;

// What a message is marshalled from: its bytes, and the error that the marshal is to report after it has written.
struct source {
    bytes message;
    u_int32 fails_with = 0;
};

// Behaves as a generated marshal does when a bundle is open.
u_int32 marshal(vela_handle *handle, u_int32 mem_class, u_int8 *buffer, const void *message, u_int32 room,
                u_int32 *err) {
    const source &from = *static_cast<const source *>(message);
    const u_int8 *luid = from.message.data() + VELA_WIRE_MESSAGE_HEADER;
    if (handle->bundle_open != nullptr &&
        bundle_message_validate_add(handle, mem_class, luid, "message test", err) == 0) {
        return 0;
    }
    size_t length = std::min<size_t>(room, from.message.size());
    std::memcpy(buffer, from.message.data(), length);
    *err = length < from.message.size() ? static_cast<u_int32>(VELA_EMSGSIZE) : from.fails_with;
    if (*err == 0 && handle->bundle_open != nullptr) {
        bundle_message_increment_count(handle, luid, err);
    }
    return static_cast<u_int32>(length);
}

class Bundle : public testing::Test {
  protected:
    void TearDown() override { vela_bundle_destroy(bundle); }

    void open(u_int32 capacity) {
        bundle = vela_bundle_open(handle.get(), 7, capacity, &err);
        ASSERT_NE(bundle, nullptr);
        ASSERT_EQ(err, 0u);
    }
    u_int32 add(const bytes &message, u_int32 fails_with = 0) {
        source from{message, fails_with};
        return vela_bundle_add(handle.get(), 7, marshal, &from, &err);
    }
    bytes close() {
        const u_int8 *data = nullptr;
        u_int32 length = 0;
        vela_bundle_close(handle.get(), &data, &length, &err);
        return bytes(data, data + length);
    }

    test::handle_ptr handle = test::make_handle();
    vela_bundle *bundle = nullptr;
    u_int32 err = 0;
};

struct reading {
    u_int32 err = 0;
    std::vector<bytes> messages;
    std::vector<vela_bundle_item> faults;
};

reading read(const bytes &from) {
    bytes exact(from);  // its own block: a read beyond the end is noticed by the sanitizer
    exact.shrink_to_fit();
    reading result;
    vela_bundle_reader reader;
    vela_bundle_item item;
    vela_bundle_read(&reader, exact.data(), static_cast<u_int32>(exact.size()), &result.err);
    while (vela_bundle_next(&reader, &item) != 0) {
        if (item.err == 0) {
            result.messages.emplace_back(item.message, item.message + item.length);
        } else {
            EXPECT_EQ(item.message, nullptr);
            EXPECT_NE(item.reason, nullptr);
            result.faults.push_back(item);
        }
    }
    return result;
}

bytes pack(const std::vector<bytes> &messages) {
    bytes result(VELA_BUNDLE_HEADER, 0);
    std::memcpy(result.data(), "VBND\x01", 5);
    for (const bytes &message : messages) {
        size_t at = result.size();
        result.resize(at + VELA_BUNDLE_PREFIX);
        test::put_u32(result, at, static_cast<u_int32>(message.size()));
        result.insert(result.end(), message.begin(), message.end());
    }
    test::put_u32(result, 8, static_cast<u_int32>(messages.size()));
    test::put_u32(result, 12, static_cast<u_int32>(result.size()));
    return result;
}

TEST_F(Bundle, HoldsItsMessagesInTheDocumentedFormat) {
    const std::vector<bytes> messages = {make_message(1, 0), make_message(2, 100), make_message(3, 1)};
    open(4096);
    u_int32 count = 0;
    for (const bytes &message : messages) {
        EXPECT_EQ(add(message), ++count);
    }
    bytes packed = close();
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(packed, pack(messages));
    EXPECT_EQ(read(packed).messages, messages);
    EXPECT_EQ(handle->bundle_open, nullptr);

    EXPECT_EQ(add(messages[0]), 0u) << "no bundle is open any more";
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));
}

TEST_F(Bundle, IsUsedAgainWithoutItsOldMessages) {
    open(4096);
    add(make_message(1, 10));
    close();
    vela_bundle_reopen(handle.get(), bundle, &err);
    add(make_message(2, 10));
    vela_bundle_abort(handle.get());
    vela_bundle_reopen(handle.get(), bundle, &err);
    EXPECT_EQ(add(make_message(3, 10)), 1u);
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(close(), pack({make_message(3, 10)}));
}

TEST_F(Bundle, IsAsBeforeWhenAMessageFails) {
    const bytes kept = make_message(1, 20);
    open(256);
    add(kept);

    EXPECT_EQ(add(make_message(2, 20), VELA_EEPOCH), 0u);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EEPOCH));
    err = 0;
    EXPECT_EQ(add(make_message(3, 150)), 0u) << "longer than what is left";
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EMSGSIZE));
    err = 0;
    u_int8 *space = vela_bundle_space(handle.get(), nullptr);
    std::memset(space, 0xEE, 60);
    EXPECT_EQ(vela_bundle_commit(handle.get(), 60, &err), 0u) << "no message";
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));
    err = 0;
    EXPECT_EQ(vela_bundle_commit(handle.get(), 100000, &err), 0u);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EMSGSIZE));
    EXPECT_EQ(handle->last_error.code, static_cast<u_int32>(VELA_EMSGSIZE));

    err = 0;
    EXPECT_EQ(add(make_message(4, 20)), 2u);
    EXPECT_EQ(close(), pack({kept, make_message(4, 20)}));
}

TEST_F(Bundle, TakesOnlyTheMessageThatWasOfferedAndCounted) {
    const bytes message = make_message(1, 0);
    const u_int8 *luid = message.data() + VELA_WIRE_MESSAGE_HEADER;
    const bytes other = make_message(2, 0);
    open(1024);
    EXPECT_EQ(bundle_message_increment_count(handle.get(), luid, &err), 0u) << "never offered";
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));

    err = 0;
    u_int8 *space = vela_bundle_space(handle.get(), nullptr);
    std::memcpy(space, message.data(), message.size());
    EXPECT_NE(bundle_message_validate_add(handle.get(), 7, luid, "message test", &err), 0u);
    EXPECT_EQ(bundle_message_increment_count(handle.get(), other.data() + VELA_WIRE_MESSAGE_HEADER, &err), 0u);
    err = 0;
    EXPECT_EQ(vela_bundle_commit(handle.get(), static_cast<u_int32>(message.size()), &err), 0u) << "not counted";
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));

    err = 0;
    vela_bundle_space(handle.get(), nullptr);
    EXPECT_EQ(vela_bundle_commit(handle.get(), static_cast<u_int32>(message.size()), &err), 1u)
        << "bytes that were marshalled elsewhere and copied";
    err = VELA_EEPOCH;
    EXPECT_EQ(bundle_message_validate_add(handle.get(), 7, luid, "message test", &err), 0u);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EEPOCH));
}

TEST_F(Bundle, SaysWhenItIsFull) {
    open(VELA_BUNDLE_HEADER + 2 * (VELA_BUNDLE_PREFIX + VELA_BUNDLE_LEAST_MESSAGE) + 3);
    EXPECT_EQ(add(make_message(1, 0)), 1u);
    EXPECT_EQ(add(make_message(2, 3)), 2u);
    u_int32 room = 1;
    EXPECT_NE(vela_bundle_space(handle.get(), &room), nullptr);
    EXPECT_EQ(room, 0u);
    EXPECT_EQ(add(make_message(3, 0)), 0u);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EMSGSIZE));
    EXPECT_EQ(read(close()).messages.size(), 2u) << "also with an error set";
}

TEST_F(Bundle, RefusesASecondOneAndAUselessCapacity) {
    EXPECT_EQ(vela_bundle_open(handle.get(), 7, VELA_BUNDLE_HEADER + VELA_BUNDLE_LEAST_MESSAGE, &err), nullptr);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));
    err = 0;
    open(1024);
    EXPECT_EQ(vela_bundle_open(handle.get(), 7, 1024, &err), nullptr);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));
    err = 0;
    vela_bundle_reopen(handle.get(), bundle, &err);
    EXPECT_EQ(err, static_cast<u_int32>(VELA_EINVAL));
    EXPECT_EQ(handle->bundle_open, bundle);
}

TEST(BundleReader, ReadsASingleMessageAsABundleOfOne) {
    bytes message = make_message(9, 30);
    EXPECT_EQ(read(message).messages, std::vector<bytes>{message});
    message.pop_back();
    reading cut = read(message);
    EXPECT_TRUE(cut.messages.empty());
    EXPECT_EQ(cut.faults.size(), 1u);
}

TEST(BundleReader, FindsEveryTruncation) {
    const bytes whole = pack({make_message(1, 5), make_message(2, 0), make_message(3, 9)});
    for (size_t length = 0; length < whole.size(); ++length) {
        bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(read(cut).err, static_cast<u_int32>(VELA_EMSGSIZE)) << length;
        if (length >= VELA_BUNDLE_HEADER) {
            test::put_u32(cut, 12, static_cast<u_int32>(length));  // and with a header that conceals it
            reading concealed = read(cut);
            EXPECT_EQ(concealed.err, 0u);
            EXPECT_EQ(concealed.faults.size(), 1u) << length;
            EXPECT_LT(concealed.messages.size(), 3u) << length;
        }
    }
}

TEST(BundleReader, DeliversTheRestAroundABadMessage) {
    std::vector<bytes> messages = {make_message(1, 5), make_message(2, 5), make_message(3, 5), make_message(4, 5)};
    messages[1][0] = 0x33;                       // no message
    test::put_u32(messages[2], 12, 0xFFFFFFFF);  // a header that lies
    messages.insert(messages.begin(), bytes(10, 0xBC));
    reading result = read(pack(messages));
    EXPECT_EQ(result.messages, (std::vector<bytes>{messages[1], messages[4]}));
    ASSERT_EQ(result.faults.size(), 3u);
    EXPECT_EQ(result.faults[0].index, 0u);
    EXPECT_EQ(result.faults[0].offset, static_cast<u_int32>(VELA_BUNDLE_HEADER));
    EXPECT_EQ(result.faults[0].err, static_cast<u_int32>(VELA_EMSGSIZE));
    EXPECT_EQ(result.faults[1].index, 2u);
    EXPECT_EQ(result.faults[1].offset, VELA_BUNDLE_HEADER + 14u + 52u);
    EXPECT_EQ(result.faults[1].err, static_cast<u_int32>(VELA_EINVAL));
    EXPECT_EQ(result.faults[2].index, 3u);
}

TEST(BundleReader, BelievesNoLength) {
    const bytes good = pack({make_message(1, 5), make_message(2, 5)});
    const u_int32 lies[] = {0, 1, 3, 47, 49, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF0, 0xFFFFFFFC, 0xFFFFFFFF};
    for (size_t at : {8u, 12u, 16u, 68u}) {  // count, total, length of either message
        for (u_int32 lie : lies) {
            bytes bad = good;
            test::put_u32(bad, at, lie);
            reading result = read(bad);
            EXPECT_TRUE(result.err != 0 || !result.faults.empty()) << at << " " << lie;
        }
    }
    bytes other_version = good;
    other_version[4] = 2;
    EXPECT_EQ(read(other_version).err, static_cast<u_int32>(VELA_EINVAL));
}

TEST(BundleReader, SurvivesAnyByte) {
    const bytes good = pack({make_message(1, 5), make_message(2, 5)});
    for (size_t at = 0; at < good.size(); ++at) {
        for (int flip = 1; flip < 256; flip <<= 1) {
            bytes bad = good;
            bad[at] = static_cast<u_int8>(bad[at] ^ flip);
            EXPECT_LE(read(bad).messages.size(), 2u);
        }
    }
}

}  // namespace
