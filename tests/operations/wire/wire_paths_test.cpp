// Encodings have three implementations: one for the common case, one for older variants and tracked records, and an
// reference one for everything. They must not differ.

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <set>

#include "oracle_model.h"
#include "records.h"
#include "wire_paths.h"

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

/** What keeps records off the unrolled path in practice. */
struct setting {
    u_int32 tracking;
    bool older_peer;  // a domain where every other type that has variants is at its first
};
std::ostream &operator<<(std::ostream &out, const setting &it) {
    return out << "tracking " << it.tracking << (it.older_peer ? ", older peer" : "");
}
constexpr setting settings[] = {
    {0, false}, {VELA_STTR_OFF, false}, {VELA_STTR_ON, false}, {0, true}, {VELA_STTR_ON, true}};

/** Two handles: one that may take any path, one that a hook and a domain keep on the reference one. */
class path_pair {
  public:
    explicit path_pair(setting how)
        : domain_({{"no such type", 0}}),
          quick({.tracking = how.tracking,
                 .domain = how.older_peer ? static_cast<const vela_domain *>(domain_) : nullptr}),
          reference(
              {.tracking = how.tracking, .domain = domain_, .pre_write = [](void *, void *, size_t, u_int32) {}}) {
        bool every_other = how.older_peer;
        for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION}) {
            for (const record_type &type : record_types(kind)) {
                if (how.older_peer && type.about.newest_variant != 0 && (every_other = !every_other)) {
                    domain_.set(type.about.name, 0);
                }
            }
        }
    }

  private:
    old_domain domain_;

  public:
    test_handle quick, reference;
};

outcome marshal(const record_type &type, vela_handle *handle, const void *instance, u_int32 room) {
    outcome result = {0, 0, 0, octets(room + 2, untouched)};
    result.count = type.operations->marshal(handle, mem_class, result.memory.data(), instance, room, &result.err);
    result.last_error = handle->last_error.code;
    return result;
}

/** All bytes of an instance, unless it owns texts, which lie elsewhere. */
octets memory_of(const record_type &type, vela_handle *handle, const void *instance) {
    const bool tracked = handle->sttr_record != nullptr && handle->sttr_record->mode == VELA_STTR_ON;
    const u_int32 size = tracked ? type.about.tracked_size : type.about.untracked_size;
    const u_int8 *first = static_cast<const u_int8 *>(instance);
    return type.has_text() ? octets() : octets(first, first + size);
}

outcome unmarshal(const record_type &type, vela_handle *handle, const octets &bytes) {
    const auto instance = type.create(handle);
    outcome result = {0, 0, 0, {}};
    result.count = type.operations->unmarshal(handle, mem_class, bytes.data(), instance.get(),
                                              static_cast<u_int32>(bytes.size()), &result.err);
    result.last_error = handle->last_error.code;
    result.memory = memory_of(type, handle, instance.get());
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
            if (nested == nullptr) {
                continue;  // a field that its variant lacks
            }
            if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
                collect_headers(record_type::of(field.type), handle, nested, headers);
            } else {
                headers.push_back(&header(nested));
            }
        }
    }
}

class WirePaths : public testing::Test {
  protected:
    void SetUp() override {
#ifdef PTP_CFG_EXPORTED_RUNTIME
        GTEST_SKIP() << "a library for another runtime has the reference path alone";
#endif
    }
};

TEST_F(WirePaths, OnlyTypesThatOwnATextLackTheFastOne) {
#ifdef PTP_CFG_COUNT_PATHS
    std::set<std::string> slow;
    const std::vector<record_type> types = record_types(PTP_CFG_STRUCTURE);
    EXPECT_EQ(types.size(), std::size(oracle::structures));
    for (const record_type &type : types) {
        for (const u_int32 mode : {0u, u_int32{VELA_STTR_OFF}}) {
            const test_handle handle({.tracking = mode});
            const auto instance = type.create(handle);
            fill(type, handle, instance.get(), filling::random);
            const wire_paths paths =
                wire_paths_of([&] { type.unmarshal(handle, type.marshal(handle, instance.get())); });
            EXPECT_EQ(paths.unrolled + paths.reference, 2u) << type.about.name;
            if (paths.unrolled != 2) {
                EXPECT_EQ(paths.unrolled, 0u) << type.about.name;
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

/** Runs `check` for every structure under every setting. */
void for_each_setting(const std::function<void(const record_type &, const setting &, path_pair &)> &check) {
    for (const setting &how : settings) {
        for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
            SCOPED_TRACE(testing::Message() << type.about.name << ", " << how);
            path_pair pair(how);
            check(type, how, pair);
        }
    }
}

TEST_F(WirePaths, AgreeOnSoundInstancesInAnyRoom) {
    std::mt19937 random(1);
    for_each_setting([&](const record_type &type, const setting &, path_pair &pair) {
        const auto a = type.create(pair.quick);
        const auto b = type.create(pair.reference);
        for (u_int64 seed = 1; seed <= 4; ++seed) {
            fill(type, pair.quick, a.get(), filling::random, seed);
            fill(type, pair.reference, b.get(), filling::random, seed);
            const octets bytes = type.marshal(pair.quick, a.get());
            ASSERT_EQ(bytes, type.marshal(pair.reference, b.get()));
            const u_int32 len = static_cast<u_int32>(bytes.size());
            for (const u_int32 room :
                 {0u, 1u, 5u, len - 1, len, len + 1, u_int32{static_cast<u_int32>(random()) % len}}) {
                ASSERT_EQ(marshal(type, pair.quick, a.get(), room), marshal(type, pair.reference, b.get(), room))
                    << room;
            }
            ASSERT_EQ(unmarshal(type, pair.quick, bytes), unmarshal(type, pair.reference, bytes));
        }
#ifdef PTP_CFG_COUNT_PATHS
        const wire_paths quick = wire_paths_of([&] { type.unmarshal(pair.quick, type.marshal(pair.quick, a.get())); });
        EXPECT_EQ(quick.unrolled + quick.versioned != 0, !type.has_text());
        const wire_paths reference =
            wire_paths_of([&] { type.unmarshal(pair.reference, type.marshal(pair.reference, b.get())); });
        EXPECT_EQ(reference.unrolled + reference.versioned, 0u);
#endif
    });
}

TEST_F(WirePaths, AgreeOnOddHeaders) {
    // A header anywhere in an instance that is not at its latest variant, or that carries extra data.
    std::mt19937 random(2);
    for_each_setting([&](const record_type &type, const setting &, path_pair &pair) {
        // One for each handle, which keeps the places of its tracked instances' flags.
        const auto a = type.create(pair.quick);
        const auto b = type.create(pair.reference);
        std::vector<vela_instance_header *> headers[2];
        fill(type, pair.quick, a.get(), filling::random);
        fill(type, pair.reference, b.get(), filling::random);
        collect_headers(type, pair.quick, a.get(), headers[0]);
        collect_headers(type, pair.reference, b.get(), headers[1]);
        const octets sound = type.marshal(pair.quick, a.get());
        for (int round = 0; round < 30; ++round) {
            const size_t odd = random() % headers[0].size();
            const vela_instance_header before = *headers[0][odd];
            const bool other_variant = random() % 2 == 0;
            const int8 variant = static_cast<int8>(static_cast<int>(random() % 5) - 1);
            for (const auto &of_handle : headers) {
                of_handle[odd]->variant = other_variant ? variant : before.variant;
                of_handle[odd]->flags = static_cast<u_int8>(before.flags | (other_variant ? 0 : VELA_FLAG_EXTRA_DATA));
            }
            const u_int32 room = static_cast<u_int32>(sound.size()) + random() % 20;
            const outcome expected = marshal(type, pair.reference, b.get(), room);
            ASSERT_EQ(marshal(type, pair.quick, a.get(), room), expected);
            for (const auto &of_handle : headers) {
                of_handle[odd]->variant = before.variant;
                of_handle[odd]->flags = before.flags;
            }
            if (expected.err == 0) {
                const octets bytes(expected.memory.begin(), expected.memory.begin() + expected.count);
                ASSERT_EQ(unmarshal(type, pair.quick, bytes), unmarshal(type, pair.reference, bytes));
            }
        }
    });
}

TEST_F(WirePaths, AgreeOnWhatBecomesOfAnInstanceThatIsReadOver) {
    for_each_setting([&](const record_type &type, const setting &, path_pair &pair) {
        const auto source = type.create(pair.quick);
        fill(type, pair.quick, source.get(), filling::random, 7);
        const octets bytes = type.marshal(pair.quick, source.get());
        for (u_int32 seed = 1; seed <= 12; ++seed) {
            octets left[2];
            for (const bool reference : {false, true}) {
                vela_handle *handle = reference ? pair.reference : pair.quick;
                const auto instance = type.create(handle);
                fill(type, handle, instance.get(), filling::random, seed);
                std::mt19937 random(seed);
                leave_traces(type, handle, instance.get(), random);
                u_int32 err = 0;
                type.operations->unmarshal(handle, mem_class, bytes.data(), instance.get(),
                                           static_cast<u_int32>(bytes.size()), &err);
                EXPECT_EQ(err, 0u);
                left[reference ? 1 : 0] = memory_of(type, handle, instance.get());
            }
            ASSERT_EQ(left[0], left[1]) << seed;
        }
    });
}

TEST_F(WirePaths, AgreeOnDamagedBytes) {
    std::mt19937 random(3);
    for_each_setting([&](const record_type &type, const setting &, path_pair &pair) {
        const auto instance = type.create(pair.quick);
        fill(type, pair.quick, instance.get(), filling::random);
        const octets sound = type.marshal(pair.quick, instance.get());
        for (int round = 0; round < 40; ++round) {
            octets bytes = sound;
            for (u_int32 damages = 1 + random() % 3; damages > 0; --damages) {
                // Mostly in the prefix, where variant, flag and jump are.
                const size_t at = random() % (random() % 2 == 0 ? std::min<size_t>(bytes.size(), 6) : bytes.size());
                bytes[at] = static_cast<u_int8>(random() % 2 == 0 ? random() : 0xFF << random() % 8);
            }
            bytes.resize(bytes.size() - (random() % 4 == 0 ? random() % bytes.size() : 0));
            ASSERT_EQ(unmarshal(type, pair.quick, bytes), unmarshal(type, pair.reference, bytes));
        }
    });
}

TEST(WireJumps, TheOutermostLeadsToTheEndWhateverIsDamagedInside) {
    std::mt19937 random(4);
    for_each_setting([&](const record_type &type, const setting &, path_pair &pair) {
        const auto instance = type.create(pair.quick);
        fill(type, pair.quick, instance.get(), filling::random);
        const octets sound = type.marshal(pair.quick, instance.get());
        u_int32 errors = 0;
        for (int round = 0; round < 40; ++round) {
            octets bytes = sound;
            for (u_int32 damages = 1 + random() % 3; damages > 0; --damages) {
                bytes[6 + random() % (bytes.size() - 6)] = static_cast<u_int8>(0xFF << random() % 8);
            }
            const outcome expected = unmarshal(type, pair.reference, bytes);
            ASSERT_EQ(expected.count, bytes.size()) << "error " << expected.err;
            ASSERT_EQ(unmarshal(type, pair.quick, bytes), expected);
            errors += expected.err != 0 ? 1 : 0;
        }
        const bool has_lengths = std::any_of(type.fields.begin(), type.fields.end(), [](const auto &field) {
            return field.kind == PTP_CFG_FIELD_STRUCTURE || field.kind == PTP_CFG_FIELD_TEXT;
        });
        EXPECT_LE(errors != 0, has_lengths);
    });
}

TEST_F(WirePaths, AgreeOnBytesOfOtherReleasesAndModes) {
    // What one handle wrote, read by a handle of another kind.
    for (const setting &writer : settings) {
        path_pair writers(writer);
        for_each_setting([&](const record_type &type, const setting &, path_pair &pair) {
            const auto instance = type.create(writers.quick);
            fill(type, writers.quick, instance.get(), filling::random);
            const octets bytes = type.marshal(writers.quick, instance.get());
            ASSERT_EQ(unmarshal(type, pair.quick, bytes), unmarshal(type, pair.reference, bytes)) << writer;
        });
    }
}

TEST_F(WirePaths, TheFastOneIsLeftBeforeAnythingChanges) {
    // The last byte that both paths look at is the variant of the last enumeration.
    const record_type type("ptp_clock_quality");
    const test_handle handle;
    const auto instance = type.create(handle);
    u_int32 err = 0;
    const octets bytes = from_hex("00 00 0000000C 22 0102 7F 00000003");
    const auto calls = [&] {
        EXPECT_EQ(type.operations->unmarshal(handle, mem_class, bytes.data(), instance.get(), 14, &err), 14u);
        EXPECT_EQ(err, 0u);
        EXPECT_EQ(type.marshal(handle, instance.get()), from_hex("00 00 0000000C 22 0102 00 00000003"));
    };
#ifdef PTP_CFG_COUNT_PATHS
    const wire_paths paths = wire_paths_of(calls);
    EXPECT_EQ(paths.unrolled, 1u);
    EXPECT_EQ(paths.reference, 1u);
#else
    calls();
#endif
}

TEST_F(WirePaths, SharedTypeInformationIsForTheExactOne) {
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
