// Every type through every operation, at every variant, with and without state tracking and shared type information.

#include <algorithm>
#include <cstring>

#include "ptp_cfg/enumerations.h"
#include "records.h"

namespace ptp_cfg_test {
namespace {

constexpr int8 no_domain = -1;

struct setting {
    int8 level;  // of the domain
    u_int32 tracking;
    bool shared;
};

std::ostream &operator<<(std::ostream &out, const setting &it) {
    return out << (it.level == no_domain ? std::string("NoDomain") : "Level" + std::to_string(it.level))
               << (it.tracking == VELA_STTR_ON    ? "Tracked"
                   : it.tracking == VELA_STTR_OFF ? "Untracked"
                                                  : "")
               << (it.shared ? "Shared" : "");
}

std::vector<setting> all_settings() {
    std::vector<setting> result;
    for (const int8 level : {no_domain, int8{0}, int8{1}, int8{2}}) {
        for (const u_int32 tracking : {0u, u_int32{VELA_STTR_OFF}, u_int32{VELA_STTR_ON}}) {
            result.push_back({level, tracking, false});
            result.push_back({level, tracking, true});
        }
    }
    return result;
}

class Sweep : public testing::TestWithParam<setting> {
  protected:
    handle_settings settings() const {
        const setting &it = GetParam();
        return {.tracking = it.tracking, .shared = it.shared, .domain = it.level == no_domain ? nullptr : domain.get()};
    }
    bool tracked() const { return GetParam().tracking == VELA_STTR_ON; }

    owned<void> create_filled(const record_type &type, vela_handle *handle, filling how) const {
        auto instance = type.create(handle);
        fill(type, handle, instance.get(), how);
        if (tracked()) {
            set_flags(type, handle, instance.get());
        }
        return instance;
    }

    void check_duplicates(const record_type &type, vela_handle *handle, const void *source, const octets &bytes) const {
        u_int32 err = 0;
        const auto clone =
            hold(handle, type.operations->clone(handle, mem_class, source, &err), type.operations->destroy);
        EXPECT_EQ(err, 0u);
        EXPECT_EQ(type.marshal(handle, clone.get()), bytes);
        const auto target = create_filled(type, handle, filling::random);
        void *slot = target.get();
        type.operations->copy(handle, mem_class, source, &slot, &err);
        EXPECT_EQ(err, 0u);
        ASSERT_EQ(slot, target.get());
        EXPECT_EQ(type.marshal(handle, target.get()), bytes);
    }

    static void check_text(const record_type &type, vela_handle *handle, const void *source) {
        constexpr u_int32 room = 1u << 17;
        std::string text(room, ' ');
        u_int32 err = 0;
        text.resize(type.operations->print(handle, mem_class, text.data(), source, room, &err));
        EXPECT_EQ(err, 0u);
        const std::string label = type.about.kind == PTP_CFG_MESSAGE ? "message" : type.about.name;
        EXPECT_TRUE(text.starts_with(label + "@" + type.about.short_name + ": {\n")) << text.substr(0, 80);
        EXPECT_TRUE(text.ends_with("}\n"));
        for (const ptp_cfg_field_description &field : type.fields) {
            if (field.since == 0) {
                EXPECT_NE(text.find(std::string("  ") + field.name), std::string::npos) << field.name;
            }
        }
    }

    void check_xml(const record_type &type, vela_handle *handle, const void *source, const octets &bytes) const {
        const document parsed = parse_xml(type.to_xml(handle, source));
        char why[200] = "";
        u_int32 err = 0;
        owned<void> read;
        if (type.about.kind == PTP_CFG_MESSAGE) {
            read = hold(handle, type.operations->from_document(handle, mem_class, parsed.get(), &err, why, sizeof why),
                        type.operations->destroy);
        } else {
            read = type.create(handle);
            const std::string path = std::string("//") + type.about.name;
            type.operations->from_xml(handle, mem_class, path.c_str(), parsed.get(), read.get(), &err, why, sizeof why);
        }
        EXPECT_EQ(err, 0u) << why;
        if (tracked()) {
            set_flags(type, handle, read.get());  // XML does not bring them back
        }
        EXPECT_EQ(type.marshal(handle, read.get()), bytes);
    }

    level_domain domain{std::max(GetParam().level, int8{0})};
};

TEST_P(Sweep, StructuresAndMessages) {
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_MESSAGE}) {
        for (const record_type &type : record_types(kind)) {
            for (const filling how : {filling::minimum, filling::maximum, filling::random}) {
                SCOPED_TRACE(std::string(type.about.name) + " filling " + std::to_string(static_cast<int>(how)));
                const test_handle handle(settings());
                const auto source = create_filled(type, handle, how);
                const octets bytes = type.marshal(handle, source.get());
                const auto read = type.unmarshal(handle, bytes);
                ASSERT_EQ(type.marshal(handle, read.get()), bytes);
                if (kind == PTP_CFG_STRUCTURE) {
                    EXPECT_EQ(type.operations->compare(source.get(), read.get()), 0);
                    EXPECT_EQ(type.operations->hash(source.get(), 1), type.operations->hash(read.get(), 1));
                    check_duplicates(type, handle, source.get(), bytes);
                }
                check_text(type, handle, source.get());
                check_xml(type, handle, source.get(), bytes);
                EXPECT_EQ(handle->chained_err, 0u);
            }
        }
    }
}

TEST_P(Sweep, Enumerations) {
    for (const record_type &type : record_types(PTP_CFG_ENUMERATION)) {
        const test_handle handle(settings());
        const auto source = type.create(handle);
        ptp_cfg_literal literal = {};
        for (u_int32 i = 0; ptp_cfg_literal_describe(type.type, i, &literal) != 0; ++i) {
            SCOPED_TRACE(literal.literal);
            u_int32 err = 0;
            ptp_cfg_field_set_value(type.type, 0, handle, mem_class, source.get(), 0, literal.number, &err);
            if (literal.since > header(source.get()).variant) {
                EXPECT_EQ(err, u_int32{VELA_EEPOCH});
                continue;
            }
            const octets bytes = type.marshal(handle, source.get());
            const auto read = type.unmarshal(handle, bytes);
            EXPECT_EQ(type.operations->compare(source.get(), read.get()), 0);
            EXPECT_EQ(type.operations->hash(source.get(), 1), type.operations->hash(read.get(), 1));
            EXPECT_EQ(type.marshal(handle, read.get()), bytes);
            check_xml(type, handle, source.get(), bytes);
            std::string text(200, ' ');
            text.resize(type.operations->print(handle, mem_class, text.data(), source.get(), 200, &err));
            EXPECT_EQ(text, std::string(type.about.name) + "@" + type.about.name + ":" + literal.literal + "\n");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Types, Sweep, testing::ValuesIn(all_settings()), testing::PrintToStringParamName());

// ---- bytes from others ----------------------------------------------------------------------------------------------

/** Decodes bytes that end where memory ends. */
u_int32 error_of(const record_type &type, vela_handle *handle, const octets &bytes, u_int32 length,
                 const guarded_memory &memory, void *target) {
    u_int8 *first = memory.last(length);
    std::copy_n(bytes.begin(), length, first);
    u_int32 err = 0;
    u_int32 count = 0;
    if (type.about.kind == PTP_CFG_MESSAGE) {
        void *message = nullptr;
        count = type.operations->unmarshal_only(handle, mem_class, &message, first, length, &err);
        type.operations->destroy(handle, mem_class, message);
    } else {
        count = type.operations->unmarshal(handle, mem_class, first, target, length, &err);
    }
    EXPECT_LE(count, length);
    return err;
}

TEST(SweepOfBytes, EveryPrefixIsAnErrorAndNoFault) {
    for (const u_int32 mode : {0u, u_int32{VELA_STTR_ON}}) {
        for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION, PTP_CFG_MESSAGE}) {
            for (const record_type &type : record_types(kind)) {
                SCOPED_TRACE(type.about.name);
                const test_handle handle({.tracking = mode});
                const auto source = type.create(handle);
                const auto target = type.create(handle);
                if (kind != PTP_CFG_ENUMERATION) {
                    fill(type, handle, source.get(), filling::random);
                }
                const octets bytes = type.marshal(handle, source.get());
                const guarded_memory memory(bytes.size());
                const u_int32 whole = static_cast<u_int32>(bytes.size());
                // The payload of a message is read as the structure that it is: its end is enough.
                const u_int32 skipped = kind == PTP_CFG_MESSAGE && whole > 300 ? whole - 200 : 0;
                for (u_int32 length = 0; length < whole; ++length) {
                    if (skipped != 0 && length == 100) {
                        length = skipped;
                    }
                    // Also where only flags are missing: the jump says that they should be there.
                    ASSERT_NE(error_of(type, handle, bytes, length, memory, target.get()), 0u) << length << " bytes";
                }
                EXPECT_EQ(error_of(type, handle, bytes, whole, memory, target.get()), 0u);
            }
        }
    }
}

/** Where the encodings of a structure and of all structures in it begin and end. */
void collect_encodings(const record_type &type, vela_handle *handle, void *instance, bool tracked, u_int32 begin,
                       std::vector<std::vector<std::pair<u_int32, u_int32>>> &found,
                       std::vector<std::pair<u_int32, u_int32>> parents) {
    parents.emplace_back(begin, begin + type.operations->len(handle, mem_class, instance));
    found.push_back(parents);
    u_int32 at = begin + 6;
    u_int32 text_length = 0;
    for (u_int32 index = 0; index < type.fields.size(); ++index) {
        const ptp_cfg_field_description &field = type.fields[index];
        u_int32 err = 0;
        if (field.is_read_only != 0) {
            text_length =
                static_cast<u_int32>(ptp_cfg_field_get_value(type.type, index, handle, mem_class, instance, 0, &err));
        }
        for (u_int32 element = 0; element < field.capacity; ++element) {
            if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
                void *nested = ptp_cfg_field_get(type.type, index, handle, mem_class, instance, element, &err);
                collect_encodings(record_type::of(field.type), handle, nested, tracked, at, found, parents);
                at += record_type::of(field.type).operations->len(handle, mem_class, nested);
            } else {
                at += field.kind == PTP_CFG_FIELD_TEXT ? text_length : field.wire_width;
            }
        }
        at += !tracked || field.is_read_only != 0 ? 0 : field.is_array != 0 ? 1 + field.capacity : 1;
    }
    EXPECT_EQ(at, parents.back().second) << type.about.name;
}

TEST(SweepOfBytes, EncodingsThatANewerPeerMadeLongerAreRead) {
    for (const u_int32 mode : {0u, u_int32{VELA_STTR_ON}}) {
        for (const record_type &type : record_types(PTP_CFG_STRUCTURE)) {
            SCOPED_TRACE(type.about.name);
            const test_handle handle({.tracking = mode});
            const auto source = type.create(handle);
            fill(type, handle, source.get(), filling::random);
            const octets bytes = type.marshal(handle, source.get());
            std::vector<std::vector<std::pair<u_int32, u_int32>>> encodings;
            collect_encodings(type, handle, source.get(), mode == VELA_STTR_ON, 0, encodings, {});
            for (const auto &path : encodings) {
                octets longer = bytes;
                for (const auto &[begin, end] : path) {  // the jump of each structure around the place grows as well
                    ASSERT_EQ(longer[begin + 4] * 256u + longer[begin + 5], end - begin - 2);
                    const u_int32 jump = end - begin - 2 + 3;
                    longer[begin + 4] = static_cast<u_int8>(jump >> 8);
                    longer[begin + 5] = static_cast<u_int8>(jump);
                }
                longer.insert(longer.begin() + path.back().second, {0xAA, 0xBB, 0xCC});
                ASSERT_EQ(type.marshal(handle, type.unmarshal(handle, longer).get()), bytes)
                    << "after the encoding at " << path.back().first;
            }
        }
    }
}

TEST(SweepOfBytes, OldAndNewPeersUnderstandEachOther) {
    velalib_suppress_messages_set(1);  // what cannot be said to an old peer is expected here
    const test_handle latest;
    for (const int8 level : {int8{0}, int8{1}}) {
        const level_domain domain(level);
        const test_handle old({.domain = domain.get()});
        for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_MESSAGE}) {
            for (const record_type &type : record_types(kind)) {
                SCOPED_TRACE(type.about.name);
                // From old to new: the record keeps its variant.
                const auto sent = type.create(old);
                fill(type, old, sent.get(), filling::random);
                const octets bytes = type.marshal(old, sent.get());
                const auto read = type.unmarshal(latest, bytes);
                EXPECT_EQ(type.marshal(latest, read.get()), bytes);

                // From new to old: written at the old variant, with an error where that left something out.
                const auto fresh = type.create(latest);
                fill(type, latest, fresh.get(), filling::random);
                const octets whole = type.marshal(latest, fresh.get());
                vela_handle_set_domain(latest, domain.get());
                octets older(whole.size());
                u_int32 err = 0;
                older.resize(type.operations->marshal(latest, mem_class, older.data(), fresh.get(),
                                                      static_cast<u_int32>(older.size()), &err));
                vela_handle_set_domain(latest, nullptr);
                if (err == 0) {
                    EXPECT_EQ(older, whole);
                } else {
                    EXPECT_EQ(err, u_int32{VELA_EEPOCH});
                    EXPECT_NE(older, whole);
                }
                if (kind == PTP_CFG_STRUCTURE) {
                    EXPECT_EQ(type.marshal(old, type.unmarshal(old, older).get()), older);
                }
            }
        }
    }
    velalib_suppress_messages_set(0);
}

}  // namespace
}  // namespace ptp_cfg_test
