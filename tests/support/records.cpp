// Domains by level, handles, and records filled through reflection.
#include "records.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <map>
#include <new>

namespace ptp_cfg_test {

level_domain::level_domain(int8 level)
    : domain_(vela_domain_create(("level " + std::to_string(level)).c_str()), &vela_domain_destroy) {
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION}) {
        for (const record_type &it : record_types(kind)) {
            const int8 variant = std::min(level, static_cast<int8>(it.about.newest_variant));
            EXPECT_EQ(vela_domain_set_variant(domain_.get(), it.about.name, variant), 0u);
        }
    }
}

// ---- handles ---------------------------------------------------------------------------------------------------------

test_handle::test_handle(const handle_settings &settings) {
    vela_handle_options options = {};
    options.size = sizeof options;
    options.tracking = settings.tracking;
    options.shared_type_info = settings.shared ? 1 : 0;
    options.domain = settings.domain;
    options.pre_write = settings.pre_write;
    options.work_buffer_size = settings.work_buffer;
    u_int32 err = 0;
    handle_ = vela_handle_create(&options, &err);
    EXPECT_EQ(err, 0u);
    handle_->chained_mem_class = mem_class;
}

test_handle::~test_handle() {
    vela_handle_report report = {};
    vela_handle_destroy(handle_, &report);
    EXPECT_EQ(report.blocks, expected_blocks_) << "blocks were left behind";
}

// ---- types ----------------------------------------------------------------------------------------------------------

record_type::record_type(const ptp_cfg_type *of) : type(of) {
    about.size = sizeof about;
    ptp_cfg_type_describe(type, &about);
    operations = about.operations;
    ptp_cfg_field_description field = {};
    field.size = sizeof field;
    while (ptp_cfg_field_describe(type, static_cast<u_int32>(fields.size()), &field) != 0) {
        fields.push_back(field);
    }
}

const record_type &record_type::of(const ptp_cfg_type *type) {
    static std::map<const ptp_cfg_type *, record_type> known;
    return known.try_emplace(type, type).first->second;
}

std::vector<record_type> record_types(ptp_cfg_type_kind kind) {
    std::vector<record_type> result;
    for (u_int32 i = 0; i < ptp_cfg_type_count(); ++i) {
        record_type it(ptp_cfg_type_at(i));
        if (it.about.kind == kind) {
            result.push_back(it);
        }
    }
    return result;
}

owned<void> record_type::create(vela_handle *handle) const {
    return hold(handle, operations->create(handle, mem_class), operations->destroy);
}

octets record_type::marshal(vela_handle *handle, const void *instance) const {
    constexpr u_int8 untouched = 0xA5;
    const u_int32 len = operations->len(handle, mem_class, instance);
    octets bytes(len + 1, untouched);
    u_int32 err = 0;
    const u_int32 count = operations->marshal(handle, mem_class, bytes.data(), instance, len, &err);
    EXPECT_EQ(err, 0u) << about.name;
    EXPECT_EQ(count, len) << about.name;
    EXPECT_EQ(bytes[len], untouched) << about.name;
    bytes.pop_back();
    return bytes;
}

owned<void> record_type::unmarshal(vela_handle *handle, const octets &bytes) const {
    const u_int32 length = static_cast<u_int32>(bytes.size());
    u_int32 err = 0;
    u_int32 count = 0;
    owned<void> result;
    if (about.kind == PTP_CFG_MESSAGE) {
        void *message = nullptr;
        count = operations->unmarshal_only(handle, mem_class, &message, bytes.data(), length, &err);
        result = hold(handle, message, operations->destroy);
    } else {
        result = create(handle);
        count = operations->unmarshal(handle, mem_class, bytes.data(), result.get(), length, &err);
    }
    EXPECT_EQ(err, 0u) << about.name;
    EXPECT_EQ(count, length) << about.name;
    return result;
}

std::string record_type::to_xml(vela_handle *handle, const void *instance) const {
    std::string text(1u << 18, ' ');
    u_int32 err = 0;
    text.resize(operations->to_xml(handle, mem_class, text.data(), instance, 1u << 18, &err));
    EXPECT_EQ(err, 0u) << about.name;
    return text;
}

bool record_type::has_text() const {
    return std::any_of(fields.begin(), fields.end(), [](const ptp_cfg_field_description &field) {
        return field.kind == PTP_CFG_FIELD_TEXT ||
               (field.kind == PTP_CFG_FIELD_STRUCTURE && record_type::of(field.type).has_text());
    });
}

// ---- values ---------------------------------------------------------------------------------------------------------

namespace {

/** A source of leaf values, which sees to it that neighbours differ also when they are one byte wide. */
class leaf_values {
  public:
    leaf_values(filling how, u_int64 seed) : how_(how), state_(seed * 1000) {}

    u_int64 number(bool is_signed, u_int32 bytes) {
        const u_int64 top = u_int64{1} << (8 * bytes - 1);
        switch (how_) {
            case filling::minimum:
                return is_signed ? top : 0;
            case filling::maximum:
                return is_signed ? top - 1 : ~u_int64{0};
            default:
                return next();
        }
    }
    u_int64 boolean() const { return how_ == filling::minimum ? 0 : 1; }
    u_int32 literal(const ptp_cfg_type *type, int8 variant) {
        u_int32 count = 0;
        for (ptp_cfg_literal it = {}; ptp_cfg_literal_describe(type, count, &it) != 0 && it.since <= variant;) {
            ++count;
        }
        switch (how_) {
            case filling::minimum:
                return 0;
            case filling::maximum:
                return count - 1;
            default:
                return count > 1 ? 1 + static_cast<u_int32>(next() % (count - 1)) : 0;
        }
    }
    u_int8 octet() { return static_cast<u_int8>(number(false, 1)); }

    en_address mac() {
        en_address value;
        std::generate_n(value.octet, sizeof value.octet, [this] { return octet(); });
        return value;
    }
    ip_address ip() {
        ip_address value = {};
        if (how_ != filling::minimum) {
            const bool is_v4 = how_ == filling::random && next() % 2 == 0;
            value.family = is_v4 ? VELA_IP_V4 : VELA_IP_V6;
            value.scope_id = is_v4 ? 0 : static_cast<u_int32>(number(false, 4));
            std::generate_n(value.bytes, is_v4 ? 4 : 16, [this] { return octet(); });
        }
        return value;
    }
    vrf_info vrf() {
        const auto word = [this] { return static_cast<u_int32>(number(false, 4)); };
        return {number(false, 8), word(), word(), word(), 0};
    }
    std::string text() {
        const size_t length = how_ == filling::minimum ? 0 : how_ == filling::maximum ? 255 : 1 + next() % 40;
        std::string value(length, '\0');
        std::generate(value.begin(), value.end(), [this] { return static_cast<char>(next()); });
        return value;
    }

  private:
    u_int64 next() {
        state_ += state_ % 256 == 255 ? 2 : 1;
        return state_ * 0x9E3779B97F4A7C15u;  // odd: consecutive numbers differ in every low byte
    }

    filling how_;
    u_int64 state_;
};

/** Calls `whole` with the address of a value of a primitive that is no number. */
template <class Whole>
void set_opaque(const ptp_cfg_field_description &field, leaf_values &values, Whole whole) {
    const std::string type_name = field.type_name;
    if (type_name == "en_address") {
        const en_address value = values.mac();
        whole(&value, 0);
    } else if (type_name == "ip_address") {
        const ip_address value = values.ip();
        whole(&value, 0);
    } else if (type_name == "vrf_info") {
        const vrf_info value = values.vrf();
        whole(&value, 0);
    } else {
        std::vector<u_int8> octets(field.element_size);
        for (u_int8 &octet : octets) {
            octet = static_cast<u_int8>(values.number(false, 1));
        }
        whole(octets.data(), 0);
    }
}

void set_leaf(vela_handle *handle, const leaf &where, leaf_values &values) {
    const ptp_cfg_field_description &field = where.field();
    const ptp_cfg_type *owner = where.owner.type;
    u_int32 err = 0;
    const auto number = [&](u_int64 value) {
        ptp_cfg_field_set_value(owner, where.index, handle, mem_class, where.instance, where.element, value, &err);
    };
    const auto whole = [&](const void *value, size_t length) {
        ptp_cfg_field_set(owner, where.index, handle, mem_class, where.instance, where.element, value,
                          static_cast<u_int32>(length), &err);
    };
    switch (field.kind) {
        case PTP_CFG_FIELD_UNSIGNED:
            number(values.number(false, field.element_size));
            break;
        case PTP_CFG_FIELD_SIGNED:
            number(values.number(true, field.element_size));
            break;
        case PTP_CFG_FIELD_BOOLEAN:
            number(values.boolean());
            break;
        case PTP_CFG_FIELD_ENUMERATION: {
            void *enumeration =
                ptp_cfg_field_get(owner, where.index, handle, mem_class, where.instance, where.element, &err);
            number(values.literal(field.type, header(enumeration).variant));
            break;
        }
        case PTP_CFG_FIELD_TEXT: {
            const std::string text = values.text();
            whole(text.data(), text.size());
            break;
        }
        case PTP_CFG_FIELD_OPAQUE:
            set_opaque(field, values, whole);
            break;
        default:
            FAIL() << field.type_name << " is no leaf";
    }
    EXPECT_EQ(err, 0u) << where.owner.about.name << "." << field.name << "[" << where.element << "]";
}

/** Calls `visit` with the index of each field that a structure's variant has, and with each of its elements. */
template <class Visit>
void for_each_element(const record_type &type, void *instance, Visit visit) {
    const int8 variant = header(instance).variant;
    for (u_int32 index = 0; index < type.fields.size(); ++index) {
        const ptp_cfg_field_description &field = type.fields[index];
        for (u_int32 element = 0; field.since <= variant && element < field.capacity; ++element) {
            visit(index, element);
        }
    }
}

u_int8 set_flags_from(const record_type &type, vela_handle *handle, void *instance, u_int8 flag) {
    u_int32 err = 0;
    for_each_element(type, instance, [&](u_int32 index, u_int32 element) {
        const ptp_cfg_field_description &field = type.fields[index];
        const auto set = [&](u_int32 which) {
            ptp_cfg_field_state_flag_set(type.type, index, handle, mem_class, instance, which, ++flag, &err);
        };
        if (field.is_read_only != 0) {
            return;
        }
        if (field.is_array != 0 && element == 0) {
            set(0xFFFFFFFF);
        }
        set(element);
        if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
            void *nested = ptp_cfg_field_get(type.type, index, handle, mem_class, instance, element, &err);
            flag = set_flags_from(record_type::of(field.type), handle, nested, flag);
        }
    });
    EXPECT_EQ(err, 0u) << type.about.name;
    return flag;
}

}  // namespace

void for_each_leaf(const record_type &type, vela_handle *handle, void *instance,
                   const std::function<void(const leaf &)> &visit) {
    for_each_element(type, instance, [&](u_int32 index, u_int32 element) {
        const ptp_cfg_field_description &field = type.fields[index];
        if (field.kind == PTP_CFG_FIELD_STRUCTURE) {
            u_int32 err = 0;
            void *nested = ptp_cfg_field_get(type.type, index, handle, mem_class, instance, element, &err);
            EXPECT_EQ(err, 0u) << type.about.name << "." << field.name;
            for_each_leaf(record_type::of(field.type), handle, nested, visit);
        } else if (field.is_read_only == 0) {
            visit({type, instance, index, element});
        }
    });
}

void fill(const record_type &type, vela_handle *handle, void *instance, filling how, u_int64 seed) {
    leaf_values values(how, seed);
    for_each_leaf(type, handle, instance, [&](const leaf &where) { set_leaf(handle, where, values); });
}

void fill_leaf(vela_handle *handle, const leaf &where, filling how, u_int64 seed) {
    leaf_values values(how, seed);
    set_leaf(handle, where, values);
}

void set_flags(const record_type &type, vela_handle *handle, void *instance) {
    if (type.about.kind == PTP_CFG_STRUCTURE) {
        set_flags_from(type, handle, instance, 0);
        return;
    }
    for (u_int32 index = 0; index < type.fields.size(); ++index) {
        u_int32 err = 0;
        void *payload = ptp_cfg_field_get(type.type, index, handle, mem_class, instance, 0, &err);
        if (type.fields[index].type != nullptr) {
            set_flags_from(record_type::of(type.fields[index].type), handle, payload, 0);
        }
    }
}

// ---- bytes and documents --------------------------------------------------------------------------------------------

document parse_xml(const std::string &text) {
    std::array<char, 256> why = {};
    document result(vela_xml_parse(text.data(), text.size(), why.data(), why.size()), &vela_xml_destroy);
    EXPECT_NE(result, nullptr) << why.data() << "\n" << text.substr(0, 400);
    return result;
}

octets from_hex(const std::string &text) {
    octets result;
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char c) { return c != ' '; });
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
        result.push_back(static_cast<u_int8>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    }
    return result;
}

guarded_memory::guarded_memory(size_t size) {
    const size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t usable = (size + page - 1) / page * page;
    mapped_ = usable + page;
    void *memory = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    start_ = static_cast<u_int8 *>(memory);
    end_ = start_ + usable;
    mprotect(end_, page, PROT_NONE);
}

guarded_memory::~guarded_memory() { munmap(start_, mapped_); }

}  // namespace ptp_cfg_test
