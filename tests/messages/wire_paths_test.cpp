// Encodings have two implementations: one for the common case, and an exact one for everything. They must not differ.

#include <algorithm>
#include <cstring>
#include <random>
#include <set>

#include "records.h"

namespace ptp_cfg_test {
namespace {

constexpr u_int8 untouched = 0xA5;

/** What one call did: result, error and memory. */
struct outcome {
    u_int32 count;
    u_int32 err;
    u_int32 last_error;
    octets memory;
    bool operator==(const outcome &) const = default;
};
std::ostream &operator<<(std::ostream &out, const outcome &it) {
    return out << it.count << " bytes, error " << it.err << ", last error " << it.last_error;
}

/** Two handles: one that may take the fast path, one that a hook and a domain of no consequence keep off it. */
class path_pair {
  public:
    explicit path_pair(u_int32 tracking)
        : domain_({{"no such type", 0}}),
          fast({.tracking = tracking}),
          exact({.tracking = tracking, .domain = domain_, .pre_write = [](void *, void *, size_t, u_int32) {}}) {}

  private:
    old_domain domain_;

  public:
    test_handle fast, exact;
};

#ifdef PTP_CFG_COUNT_PATHS
u_int64 fast_runs(vela_handle *handle) { return handle->wire_paths[0]; }
#endif

outcome marshal(const record_type &type, vela_handle *handle, const void *instance, u_int32 room) {
    outcome result = {0, 0, 0, octets(room + 2, untouched)};
    result.count = type.operations->marshal(handle, mem_class, result.memory.data(), instance, room, &result.err);
    result.last_error = handle->last_error.code;
    return result;
}

outcome unmarshal(const record_type &type, vela_handle *handle, const octets &bytes, bool compare_memory) {
    const auto instance = type.create(handle);
    outcome result = {0, 0, 0, {}};
    result.count = type.operations->unmarshal(handle, mem_class, bytes.data(), instance.get(),
                                              static_cast<u_int32>(bytes.size()), &result.err);
    result.last_error = handle->last_error.code;
    if (compare_memory) {
        const u_int8 *first = static_cast<const u_int8 *>(instance.get());
        result.memory.assign(first, first + type.about.untracked_size);
    }
    return result;
}

/** All instances inside one, itself included. */
void collect_headers(const record_type &type, vela_handle *handle, void *instance,
                     std::vector<vela_instance_header *> &headers) {
    headers.push_back(&header(instance));
    for (u_int32 i = 0; i < type.fields.size(); ++i) {
        const ptp_cfg_field_description &field = type.fields[i];
        for (u_int32 element = 0; field.type != nullptr && element < field.capacity; ++element) {
            u_int32 err = 0;
            void *nested = ptp_cfg_field_get(type.type, i, handle, mem_class, instance, element, &err);
            if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
                collect_headers(record_type::of(field.type), handle, nested, headers);
            } else {
                headers.push_back(&header(nested));
            }
        }
    }
}

TEST(WirePaths, OnlyTypesThatOwnATextLackTheFastOne) {
#ifdef PTP_CFG_COUNT_PATHS
    std::set<std::string> slow;
    const std::vector<record_type> types = record_types(PTP_CFG_STRUCTURE);
    EXPECT_EQ(types.size(), 60u);
    for (const record_type &type : types) {
        for (const u_int32 mode : {0u, u_int32{VELA_STTR_OFF}}) {
            const test_handle handle({.tracking = mode});
            const auto instance = type.create(handle);
            fill(type, handle, instance.get(), filling::random);
            const octets bytes = type.marshal(handle, instance.get());
            const auto read = type.unmarshal(handle, bytes);
            EXPECT_EQ(handle->wire_paths[0] + handle->wire_paths[1], 2u) << type.about.name;
            if (handle->wire_paths[0] != 2) {
                EXPECT_EQ(handle->wire_paths[0], 0u) << type.about.name;
                slow.insert(type.about.name);
            }
            EXPECT_EQ(slow.count(type.about.name) != 0, type.has_text()) << type.about.name;
        }
    }
    EXPECT_EQ(slow, (std::set<std::string>{"ptp_port", "ptp_virtual_port"}));
#else
    GTEST_SKIP() << "built without path counters";
#endif
}

TEST(WirePaths, AgreeOnSoundInstancesInAnyRoom) {
    std::mt19937 random(1);
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        SCOPED_TRACE(type.about.name);
        for (const u_int32 mode : {0u, u_int32{VELA_STTR_OFF}, u_int32{VELA_STTR_ON}}) {
            path_pair pair(mode);
            const auto a = type.create(pair.fast);
            const auto b = type.create(pair.exact);
            for (u_int64 seed = 1; seed <= 4; ++seed) {
                fill(type, pair.fast, a.get(), filling::random, seed);
                fill(type, pair.exact, b.get(), filling::random, seed);
                const octets bytes = type.marshal(pair.fast, a.get());
                ASSERT_EQ(bytes, type.marshal(pair.exact, b.get()));
                const u_int32 len = static_cast<u_int32>(bytes.size());
                for (const u_int32 room :
                     {0u, 1u, 5u, len - 1, len, len + 1, u_int32{static_cast<u_int32>(random()) % len}}) {
                    ASSERT_EQ(marshal(type, pair.fast, a.get(), room), marshal(type, pair.exact, b.get(), room))
                        << room;
                }
                const bool memory = !type.has_text() && mode != VELA_STTR_ON;
                ASSERT_EQ(unmarshal(type, pair.fast, bytes, memory), unmarshal(type, pair.exact, bytes, memory));
            }
#ifdef PTP_CFG_COUNT_PATHS
            EXPECT_EQ(fast_runs(pair.fast) != 0, !type.has_text() && mode != VELA_STTR_ON);
            EXPECT_EQ(fast_runs(pair.exact), 0u);
#endif
        }
    }
}

TEST(WirePaths, AgreeOnOddHeaders) {
    // A header anywhere in an instance that is not at its newest variant, or that carries extra data.
    std::mt19937 random(2);
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        SCOPED_TRACE(type.about.name);
        path_pair pair(0);
        const auto instance = type.create(pair.fast);
        fill(type, pair.fast, instance.get(), filling::random);
        std::vector<vela_instance_header *> headers;
        collect_headers(type, pair.fast, instance.get(), headers);
        const octets sound = type.marshal(pair.fast, instance.get());
        for (int round = 0; round < 30; ++round) {
            vela_instance_header &odd = *headers[random() % headers.size()];
            const vela_instance_header before = odd;
            if (random() % 2 == 0) {
                odd.variant = static_cast<int8>(static_cast<int>(random() % 5) - 1);
            } else {
                odd.flags |= VELA_FLAG_EXTRA_DATA;
            }
            const u_int32 room = static_cast<u_int32>(sound.size()) + random() % 20;
            const outcome expected = marshal(type, pair.exact, instance.get(), room);
            ASSERT_EQ(marshal(type, pair.fast, instance.get(), room), expected);
            odd.variant = before.variant;
            odd.flags = before.flags;
            if (expected.err == 0) {
                const octets bytes(expected.memory.begin(), expected.memory.begin() + expected.count);
                ASSERT_EQ(unmarshal(type, pair.fast, bytes, !type.has_text()),
                          unmarshal(type, pair.exact, bytes, !type.has_text()));
            }
        }
    }
}

/** Makes the parts of an instance that no encoding carries differ from those of a new one. */
void leave_traces(const record_type &type, vela_handle *handle, void *instance, std::mt19937 &random) {
    std::vector<vela_instance_header *> headers;
    collect_headers(type, handle, instance, headers);
    vela_instance_header &odd = *headers[random() % headers.size()];
    switch (random() % 4) {
        case 0:
            odd.variant = static_cast<int8>(random() % 3);
            break;
        case 1:
            odd.allocated_variant = static_cast<int8>(random() % 3);
            break;
        case 2:
            odd.flags ^= static_cast<u_int8>(random() % 2 == 0 ? VELA_FLAG_EMBEDDED : VELA_FLAG_NESTED);
            break;
        default:
            break;
    }
    for_each_leaf(type, handle, instance, [&](const leaf &where) {
        if (std::string_view(where.field().type_name) == "ip_address") {
            u_int32 err = 0;
            auto *address = static_cast<ip_address *>(ptp_cfg_field_get(
                where.owner.type, where.index, handle, mem_class, where.instance, where.element, &err));
            address->reserved[random() % 6] = static_cast<u_int32>(random());
        }
    });
}

TEST(WirePaths, AgreeOnWhatBecomesOfAnInstanceThatIsReadOver) {
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        SCOPED_TRACE(type.about.name);
        if (type.has_text()) {
            continue;  // texts lie elsewhere, and are not compared byte by byte
        }
        path_pair pair(0);
        const auto source = type.create(pair.fast);
        fill(type, pair.fast, source.get(), filling::random, 7);
        const octets bytes = type.marshal(pair.fast, source.get());
        for (u_int32 seed = 1; seed <= 12; ++seed) {
            octets left[2];
            for (const bool fast : {true, false}) {
                vela_handle *handle = fast ? pair.fast : pair.exact;
                const auto instance = type.create(handle);
                fill(type, handle, instance.get(), filling::random, seed);
                std::mt19937 random(seed);
                leave_traces(type, handle, instance.get(), random);
                u_int32 err = 0;
                type.operations->unmarshal(handle, mem_class, bytes.data(), instance.get(),
                                           static_cast<u_int32>(bytes.size()), &err);
                EXPECT_EQ(err, 0u);
                const u_int8 *first = static_cast<const u_int8 *>(instance.get());
                left[fast ? 0 : 1].assign(first, first + type.about.untracked_size);
            }
            ASSERT_EQ(left[0], left[1]) << seed;
        }
    }
}

TEST(WirePaths, AgreeOnDamagedBytes) {
    std::mt19937 random(3);
    for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
        SCOPED_TRACE(type.about.name);
        for (const u_int32 mode : {0u, u_int32{VELA_STTR_ON}}) {
            path_pair pair(mode);
            const auto instance = type.create(pair.fast);
            fill(type, pair.fast, instance.get(), filling::random);
            const octets sound = type.marshal(pair.fast, instance.get());
            for (int round = 0; round < 40; ++round) {
                octets bytes = sound;
                for (u_int32 damages = 1 + random() % 3; damages > 0; --damages) {
                    // Mostly in the prefix, where variant, flag and jump are.
                    const size_t at = random() % (random() % 2 == 0 ? std::min<size_t>(bytes.size(), 6) : bytes.size());
                    bytes[at] = static_cast<u_int8>(random() % 2 == 0 ? random() : 0xFF << random() % 8);
                }
                bytes.resize(bytes.size() - (random() % 4 == 0 ? random() % bytes.size() : 0));
                const bool memory = !type.has_text() && mode == 0;
                ASSERT_EQ(unmarshal(type, pair.fast, bytes, memory), unmarshal(type, pair.exact, bytes, memory));
            }
        }
    }
}

TEST(WirePaths, TheFastOneIsLeftBeforeAnythingChanges) {
    // The last byte that both paths look at is the variant of the last enumeration.
    const record_type type("ptp_clock_quality");
    const test_handle handle;
    const auto instance = type.create(handle);
    u_int32 err = 0;
    const octets bytes = from_hex("00 00 0000000C 22 0102 7F 00000003");
    EXPECT_EQ(type.operations->unmarshal(handle, mem_class, bytes.data(), instance.get(), 14, &err), 14u);
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(type.marshal(handle, instance.get()), from_hex("00 00 0000000C 22 0102 00 00000003"));
#ifdef PTP_CFG_COUNT_PATHS
    EXPECT_EQ(handle->wire_paths[0], 1u);
    EXPECT_EQ(handle->wire_paths[1], 1u);
#endif
}

TEST(WirePaths, SharedTypeInformationIsForTheExactOne) {
    const record_type type("ptp_port_identity");
    const test_handle sharing({.shared = true});
    const auto instance = type.create(sharing);
    const octets bytes = type.marshal(sharing, instance.get());
    const vela_type_info *copy = header(instance.get()).type_info;
    EXPECT_NE(copy, nullptr);
    header(instance.get()).type_info = nullptr;
    u_int32 err = 0;
    type.operations->unmarshal(sharing, mem_class, bytes.data(), instance.get(), static_cast<u_int32>(bytes.size()),
                               &err);
    EXPECT_EQ(header(instance.get()).type_info, copy);
    const test_handle plain;
    EXPECT_NE(header(type.create(plain).get()).type_info, copy);
}

}  // namespace
}  // namespace ptp_cfg_test
