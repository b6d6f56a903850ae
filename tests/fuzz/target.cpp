// Types, handles and instances by reflection, for every target.
#include "target.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <utility>

#include "bitlog.h"
#include "velalib.h"

namespace fuzz {

// ---- outcomes --------------------------------------------------------------------------------------------------------

void fail(const std::string &what) {
    std::fprintf(stderr, "FINDING: %s\n", what.c_str());
    std::abort();
}

namespace {

struct executions {
    u_int64 all = 0;
    u_int64 accepted = 0;
};
std::map<const ptp_cfg_type *, executions> counts;

}  // namespace

void count_execution(const ptp_cfg_type *type, bool is_accepted) {
    executions &of = counts[type];
    ++of.all;
    of.accepted += is_accepted ? 1 : 0;
}

void write_counts(const char *path) {
    FILE *file = std::fopen(path, "w");
    for (u_int32 i = 0; file != nullptr && i < ptp_cfg_type_count(); ++i) {
        const auto found = counts.find(ptp_cfg_type_at(i));
        if (found != counts.end()) {
            std::fprintf(file, "%llu %llu %s\n", static_cast<unsigned long long>(found->second.all),
                         static_cast<unsigned long long>(found->second.accepted), describe(found->first).name);
        }
    }
    if (file != nullptr) {
        std::fclose(file);
    }
}

// ---- types -----------------------------------------------------------------------------------------------------------

const ptp_cfg_type_description &describe(const ptp_cfg_type *type) {
    static auto &known = *new std::map<const ptp_cfg_type *, ptp_cfg_type_description>;  // also for what ends last
    const auto [entry, is_new] = known.try_emplace(type);
    if (is_new) {
        entry->second.size = sizeof entry->second;
        ptp_cfg_type_describe(type, &entry->second);
    }
    return entry->second;
}

namespace {

std::vector<const ptp_cfg_type *> types(bool messages) {
    std::vector<const ptp_cfg_type *> result;
    for (u_int32 i = 0; i < ptp_cfg_type_count(); ++i) {
        if (is_message(ptp_cfg_type_at(i)) == messages) {
            result.push_back(ptp_cfg_type_at(i));
        }
    }
    return result;
}

const std::vector<ptp_cfg_field_description> &fields_of(const ptp_cfg_type *type) {
    static std::map<const ptp_cfg_type *, std::vector<ptp_cfg_field_description>> known;
    const auto [entry, is_new] = known.try_emplace(type);
    ptp_cfg_field_description field = {};
    field.size = sizeof field;
    for (u_int32 i = 0; is_new && ptp_cfg_field_describe(type, i, &field) != 0; ++i) {
        entry->second.push_back(field);
    }
    return entry->second;
}

}  // namespace

const std::vector<const ptp_cfg_type *> &records() {
    static const std::vector<const ptp_cfg_type *> all = types(false);
    return all;
}

const std::vector<const ptp_cfg_type *> &messages() {
    static const std::vector<const ptp_cfg_type *> all = types(true);
    return all;
}

// ---- handles ---------------------------------------------------------------------------------------------------------

handle_kind::handle_kind(u_int8 bits) {
    constexpr std::array<u_int32, 4> modes = {0, VELA_STTR_OFF, VELA_STTR_ON, VELA_STTR_ON};
    constexpr std::array<int, 4> domains = {-1, 127, 0, 1};  // 127: a domain in which all types are at their newest
    tracking = modes[bits & 3];
    domain = domains[bits >> 2 & 3];
    is_shared = (bits & 0x10) != 0;
    has_hooks = (bits & 0x20) != 0;
    has_allocator = (bits & 0x40) != 0;
}

handle_kind handle_kind::on_reference_path() const {
    handle_kind other = *this;
    other.domain = domain < 0 ? 127 : domain;
    other.has_hooks = true;
    other.is_shared = false;
    return other;
}

namespace {

vela_domain *domain_at(int level) {
    static std::map<int, vela_domain *> made;
    vela_domain *&domain = made[level];
    if (domain == nullptr) {
        domain = vela_domain_create("fuzz");
        for (const ptp_cfg_type *type : records()) {
            const int newest = describe(type).newest_variant;
            vela_domain_set_variant(domain, describe(type).name, static_cast<int8>(level < newest ? level : newest));
        }
    }
    return domain;
}

/** A handle, and how many blocks of an allocator of the program's own are out. */
struct kept_handle {
    vela_handle *handle = nullptr;
    u_int64 blocks = 0;
};
std::map<vela_handle *, const kept_handle *> by_handle;

void *give(void *cookie, u_int32, size_t size) {
    ++static_cast<kept_handle *>(cookie)->blocks;
    return std::malloc(size);
}

void take_back(void *cookie, u_int32, void *memory) {
    static_cast<kept_handle *>(cookie)->blocks -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

void read_before_change(void *, void *address, size_t length, u_int32) {
    // What is announced must be memory: the sanitizer looks at the whole of it.
    static volatile u_int8 sum;
    for (size_t i = 0; i < length; ++i) {
        sum = sum ^ static_cast<const u_int8 *>(address)[i];
    }
}

void open(kept_handle &kept, const handle_kind &kind) {
    bitlog_set_sink([](void *, const bitlog_record *) {}, nullptr);
    vela_handle_options options = {};
    options.size = sizeof options;
    options.tracking = kind.tracking;
    options.domain = kind.domain < 0 ? nullptr : domain_at(kind.domain);
    options.shared_type_info = kind.is_shared ? 1 : 0;
    options.pre_write = kind.has_hooks ? read_before_change : nullptr;
    options.pre_write_counter = options.pre_write;
    options.alloc = kind.has_allocator ? give : nullptr;
    options.free = kind.has_allocator ? take_back : nullptr;
    options.cookie = &kept;
    u_int32 err = 0;
    kept.handle = vela_handle_create(&options, &err);
    require(kept.handle != nullptr, "no handle");
    by_handle[kept.handle] = &kept;
}

}  // namespace

vela_handle *handle_of(const handle_kind &kind) {
    static std::map<std::array<int, 5>, std::unique_ptr<kept_handle>> handles;
    std::unique_ptr<kept_handle> &kept =
        handles[{static_cast<int>(kind.tracking), kind.domain, kind.is_shared, kind.has_hooks, kind.has_allocator}];
    if (kept == nullptr) {
        kept = std::make_unique<kept_handle>();
        open(*kept, kind);
    }
    return kept->handle;
}

temporary_handle::temporary_handle(handle_kind kind) {
    static kept_handle unused;
    kind.has_allocator = false;
    open(unused, kind);
    handle_ = unused.handle;
}

temporary_handle::~temporary_handle() {
    by_handle.erase(handle_);
    vela_handle_destroy(handle_, nullptr);
}

void require_nothing_left(vela_handle *handle, const char *after) {
    vela_memory_use use = {};
    vela_handle_memory_use(handle, &use, nullptr, 0);
    require(use.blocks + by_handle.at(handle)->blocks == 0, "something is left with the handle", after);
}

// ---- instances -------------------------------------------------------------------------------------------------------

instance::instance(vela_handle *handle, const ptp_cfg_type *type)
    : instance(handle, type, describe(type).operations->create(handle, mem_class)) {
    require(it_ != nullptr, "cannot be created", describe(type).name);
}

instance::~instance() {
    if (it_ != nullptr) {
        calls().destroy(handle_, mem_class, it_);
    }
}

void *instance::release() { return std::exchange(it_, nullptr); }

namespace {

void fill_record(vela_handle *handle, const ptp_cfg_type *type, void *it, random_source &random);

/** An address, or what else is stored by a pointer: any bytes, of which most are a value that may be. */
void fill_opaque(const ptp_cfg_field_description &field, octets &value, random_source &random) {
    value.resize(field.element_size);
    for (u_int8 &octet : value) {
        octet = static_cast<u_int8>(random());
    }
    if (std::string(field.type_name) == "ip_address") {
        const ip_address any = {
            static_cast<u_int32>(random() % 3 * 2), 0, {192, 0, 2, static_cast<u_int8>(random())}, {}};
        std::copy_n(reinterpret_cast<const u_int8 *>(&any), sizeof any, value.begin());
    }
}

void fill_element(vela_handle *handle, const ptp_cfg_type *type, void *it, u_int32 index, u_int32 element,
                  random_source &random) {
    const ptp_cfg_field_description &field = fields_of(type)[index];
    u_int32 err = 0;  // a field that the variant does not have stays as it is
    octets value;
    switch (field.kind) {
        case PTP_CFG_FIELD_STRUCTURE:
            if (void *nested = ptp_cfg_field_get(type, index, handle, mem_class, it, element, &err)) {
                fill_record(handle, field.type, nested, random);
            }
            return;
        case PTP_CFG_FIELD_TEXT:
            value.resize(random() % 40, static_cast<u_int8>('a' + random() % 26));
            [[fallthrough]];
        case PTP_CFG_FIELD_OPAQUE:
            if (field.kind == PTP_CFG_FIELD_OPAQUE) {
                fill_opaque(field, value, random);
            }
            ptp_cfg_field_set(type, index, handle, mem_class, it, element, value.data(),
                              static_cast<u_int32>(value.size()), &err);
            break;
        case PTP_CFG_FIELD_ENUMERATION: {
            ptp_cfg_literal literal = {};
            ptp_cfg_literal_describe(field.type, static_cast<u_int32>(random()) % describe(field.type).literal_count,
                                     &literal);
            ptp_cfg_field_set_value(type, index, handle, mem_class, it, element, literal.number, &err);
            break;
        }
        default:
            ptp_cfg_field_set_value(type, index, handle, mem_class, it, element,
                                    field.kind == PTP_CFG_FIELD_BOOLEAN ? random() % 2 : random() * u_int64{0x10001},
                                    &err);
    }
    if (err == 0 && handle->sttr_record != nullptr) {
        ptp_cfg_field_state_flag_set(type, index, handle, mem_class, it, element, static_cast<u_int8>(random() % 4),
                                     &err);
    }
}

void fill_record(vela_handle *handle, const ptp_cfg_type *type, void *it, random_source &random) {
    const std::vector<ptp_cfg_field_description> &fields = fields_of(type);
    for (u_int32 index = 0; index < fields.size(); ++index) {
        for (u_int32 element = 0; fields[index].is_read_only == 0 && element < fields[index].capacity; ++element) {
            fill_element(handle, type, it, index, element, random);
        }
    }
}

}  // namespace

void fill(const instance &it, random_source &random) {
    if (describe(it.type()).kind != PTP_CFG_ENUMERATION) {
        fill_record(it.handle(), it.type(), it.get(), random);
        return;
    }
    ptp_cfg_literal literal = {};
    ptp_cfg_literal_describe(it.type(), static_cast<u_int32>(random()) % describe(it.type()).literal_count, &literal);
    u_int32 err = 0;
    ptp_cfg_field_set_value(it.type(), 0, it.handle(), mem_class, it.get(), 0, literal.number, &err);
}

encoding encode(const instance &it, u_int32 room) {
    const bool is_tracked = it.handle()->sttr_record != nullptr;  // marshal may then use one byte more
    encoding result;
    octets buffer(size_t{room} + (is_tracked ? 1 : 0));
    const u_int32 count = it.calls().marshal(it.handle(), mem_class, buffer.data(), it.get(), room, &result.err);
    require(count <= room, "marshal says that it used more than there was", describe(it.type()).name);
    buffer.resize(count);
    result.bytes = std::move(buffer);
    return result;
}

encoding encode(const instance &it) {
    // With room for the extra data that the runtime keeps for each of the instances inside.
    return encode(it, 2 * it.calls().len(it.handle(), mem_class, it.get()) + 64);
}

octets encoding_of(const ptp_cfg_type *type, u_int64 number, u_int8 kind_bits) {
    random_source random(static_cast<u_int32>(number + 1));
    vela_handle *handle = handle_of(handle_kind(kind_bits));
    octets bytes;
    {
        const instance it(handle, type);
        fill(it, random);
        bytes = encode(it).bytes;
    }
    require_nothing_left(handle, "encoding a filled instance");
    return bytes;
}

}  // namespace fuzz
