// Finds fields by reflection.
#include "agent/observe/field_path.h"

#include <algorithm>
#include <stdexcept>

namespace ptp_agent {
namespace {

/** What the generated setters write. */
constexpr u_int8 is_set = 2;
constexpr u_int32 whole = 0xFFFFFFFF;

u_int32 index_of(const ptp_cfg_type *structure, std::string_view name, ptp_cfg_field_description &field) {
    field = {};
    field.size = sizeof field;
    for (u_int32 i = 0; structure != nullptr && ptp_cfg_field_describe(structure, i, &field) != 0; ++i) {
        if (name == field.name) {
            return i;
        }
    }
    throw std::logic_error("there is no field " + std::string(name));
}

void set_octets(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, void *instance,
                const ClockIdentity &value, u_int32 *err) {
    for (u_int32 i = 0; i < value.size(); ++i) {
        ptp_cfg_field_set_value(type, index, handle, 0, instance, i, value[i], err);
    }
}

/** The flag of a field, and of an array those of its elements. */
void set_flags(const ptp_cfg_type *type, u_int32 index, vela_handle *handle, void *instance, u_int32 capacity,
               u_int8 flag, u_int32 *err) {
    for (u_int32 i = 0; i < capacity; ++i) {
        ptp_cfg_field_state_flag_set(type, index, handle, 0, instance, i, flag, err);
    }
    if (capacity > 1) {
        ptp_cfg_field_state_flag_set(type, index, handle, 0, instance, whole, flag, err);
    }
}

}  // namespace

FieldPath::FieldPath(const ptp_cfg_type *structure, std::string_view path) {
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('.'), path.size());
        ptp_cfg_field_description field;
        const u_int32 index = index_of(structure, path.substr(0, end), field);
        steps_.push_back({structure, index, field.capacity});
        structure = field.type;
        path.remove_prefix(std::min(end + 1, path.size()));
    }
}

bool FieldPath::set(vela_handle *handle, void *instance, const Value &value, bool marks) const {
    u_int32 err = 0;
    for (std::size_t i = 0; i + 1 < steps_.size(); ++i) {
        const Step &step = steps_[i];
        if (marks) {
            ptp_cfg_field_state_flag_set(step.type, step.index, handle, 0, instance, 0, is_set, &err);
        }
        instance = ptp_cfg_field_get(step.type, step.index, handle, 0, instance, 0, &err);
    }
    const auto &[type, index, capacity] = steps_.back();
    if (const auto *number = std::get_if<std::int64_t>(&value)) {
        ptp_cfg_field_set_value(type, index, handle, 0, instance, 0, static_cast<u_int64>(*number), &err);
    } else if (const auto *identity = std::get_if<ClockIdentity>(&value)) {
        set_octets(type, index, handle, instance, *identity, &err);
    } else if (const auto *mac = std::get_if<MacAddress>(&value)) {
        en_address address = {};
        std::copy(mac->begin(), mac->end(), address.octet);
        ptp_cfg_field_set(type, index, handle, 0, instance, 0, &address, 0, &err);
    } else if (const auto *ip = std::get_if<IpAddress>(&value)) {
        ip_address address = {};
        address.family = ip->family;
        std::copy(ip->bytes.begin(), ip->bytes.end(), address.bytes);
        ptp_cfg_field_set(type, index, handle, 0, instance, 0, &address, 0, &err);
    }
    set_flags(type, index, handle, instance, capacity, marks ? is_set : u_int8{0}, &err);
    return err == 0;
}

const ptp_cfg_type *payload_type(const ptp_cfg_type *message, u_int32 index) {
    ptp_cfg_field_description field = {};
    field.size = sizeof field;
    return ptp_cfg_field_describe(message, index, &field) != 0 ? field.type : nullptr;
}

void *mark_element(const ptp_cfg_type *structure, std::string_view field, vela_handle *handle, void *instance,
                   u_int32 element) {
    ptp_cfg_field_description description;
    const u_int32 index = index_of(structure, field, description);
    u_int32 err = 0;
    ptp_cfg_field_state_flag_set(structure, index, handle, 0, instance, whole, is_set, &err);
    ptp_cfg_field_state_flag_set(structure, index, handle, 0, instance, element, is_set, &err);
    return ptp_cfg_field_get(structure, index, handle, 0, instance, element, &err);
}

u_int32 capacity_of(const ptp_cfg_type *structure, std::string_view field, const ptp_cfg_type **element) {
    ptp_cfg_field_description description;
    index_of(structure, field, description);
    *element = description.type;
    return description.capacity;
}

}  // namespace ptp_agent
