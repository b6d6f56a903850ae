// Fields of records by reflection: where a path leads, and copies of some or all of them.
#include "agent/intent/fields.h"

#include <charconv>
#include <map>

namespace ptp_agent {

ptp_cfg_type_description describe(const ptp_cfg_type *type) {
    ptp_cfg_type_description description{};
    description.size = sizeof description;
    ptp_cfg_type_describe(type, &description);
    return description;
}

const std::vector<ptp_cfg_field_description> &fields_of(const ptp_cfg_type *type) {
    thread_local std::map<const ptp_cfg_type *, std::vector<ptp_cfg_field_description>> known;
    auto [place, is_new] = known.try_emplace(type);
    if (is_new) {
        for (u_int32 index = 0;; ++index) {
            ptp_cfg_field_description field{};
            field.size = sizeof field;
            if (ptp_cfg_field_describe(type, index, &field) == 0) {
                break;
            }
            place->second.push_back(field);
        }
    }
    return place->second;
}

namespace {

struct Step {
    std::string_view name;
    u_int32 element = 0;
};

/** Takes the first name, with its element, from a path; an empty name where the path is malformed. */
Step take_step(std::string_view &path) {
    const std::size_t end = std::min(path.find('.'), path.size());
    Step step{path.substr(0, end)};
    path.remove_prefix(std::min(end + 1, path.size()));
    const std::size_t bracket = step.name.find('[');
    if (bracket != std::string_view::npos) {
        const char *digits = step.name.data() + bracket + 1;
        const auto [rest, error] = std::from_chars(digits, step.name.data() + step.name.size(), step.element);
        step.name = error == std::errc() && *rest == ']' ? step.name.substr(0, bracket) : std::string_view();
    }
    return step;
}

}  // namespace

std::optional<FieldPlace> find_field(const ptp_cfg_type *message_type, vela_handle *handle, void *message,
                                     std::string_view path) {
    FieldPlace place{message_type, message, 0, 0, &fields_of(message_type).front()};
    while (!path.empty()) {
        if (place.about->type == nullptr || place.about->kind != PTP_CFG_FIELD_STRUCTURE) {
            return std::nullopt;
        }
        u_int32 err = 0;
        void *inner =
            ptp_cfg_field_get(place.owner, place.index, handle, memory_class, place.instance, place.element, &err);
        if (inner == nullptr) {
            return std::nullopt;
        }
        const Step step = take_step(path);
        const auto &fields = fields_of(place.about->type);
        u_int32 index = 0;
        while (index < fields.size() && step.name != fields[index].name) {
            ++index;
        }
        if (index == fields.size() || step.element >= fields[index].capacity) {
            return std::nullopt;
        }
        place = {place.about->type, inner, index, step.element, &fields[index]};
    }
    return place;
}

u_int32 text_length(const ptp_cfg_type *owner, u_int32 index, vela_handle *handle, void *instance) {
    u_int32 err = 0;
    return static_cast<u_int32>(ptp_cfg_field_get_value(owner, index - 1, handle, memory_class, instance, 0, &err));
}

namespace {

constexpr u_int32 whole_array = 0xFFFFFFFFu;

bool is_flagged(vela_handle *handle, const ptp_cfg_type *type, void *instance, u_int32 index, u_int32 element) {
    u_int32 err = 0;
    return ptp_cfg_field_state_flag_get(type, index, handle, memory_class, instance, element, &err) != 0;
}

/** Whether any field of a structure has a flag, or of one inside. */
bool has_flagged(vela_handle *handle, const ptp_cfg_type *type, void *instance) {
    const auto &fields = fields_of(type);
    for (u_int32 index = 0; index < fields.size(); ++index) {
        for (u_int32 element = 0; element < fields[index].capacity; ++element) {
            if (is_flagged(handle, type, instance, index, element)) {
                return true;
            }
            u_int32 err = 0;
            void *inner = fields[index].kind != PTP_CFG_FIELD_STRUCTURE
                              ? nullptr
                              : ptp_cfg_field_get(type, index, handle, memory_class, instance, element, &err);
            if (inner != nullptr && has_flagged(handle, fields[index].type, inner)) {
                return true;
            }
        }
    }
    return false;
}

/** Copies structures field by field: each side is reached with its own handle. */
class Copier {
  public:
    Copier(vela_handle *from, vela_handle *to) : from_(from), to_(to) {}

    void copy(const ptp_cfg_type *type, void *source, void *destination, bool is_all) {
        const auto &fields = fields_of(type);
        for (u_int32 index = 0; index < fields.size() && !has_failed; ++index) {
            for (u_int32 element = 0; element < fields[index].capacity && !has_failed; ++element) {
                if (fields[index].is_read_only == 0) {
                    copy_field(type, fields[index], {source, destination, index, element}, is_all);
                }
            }
        }
    }

    bool has_failed = false;

  private:
    struct Place {
        void *source;
        void *destination;
        u_int32 index;
        u_int32 element;
    };

    void copy_field(const ptp_cfg_type *type, const ptp_cfg_field_description &field, const Place &at, bool is_all) {
        u_int32 err = 0;
        void *value = ptp_cfg_field_get(type, at.index, from_, memory_class, at.source, at.element, &err);
        if (err == VELA_EEPOCH) {  // an older sender's record does not have it: nothing was said
            return;
        }
        const bool is_given = is_all || is_flagged(from_, type, at.source, at.index, at.element) ||
                              (field.is_array != 0 && is_flagged(from_, type, at.source, at.index, whole_array));
        if (field.kind == PTP_CFG_FIELD_STRUCTURE && value != nullptr) {
            void *inner = ptp_cfg_field_get(type, at.index, to_, memory_class, at.destination, at.element, &err);
            if (inner != nullptr) {
                // A structure that was set as a whole may have no flags of its own inside.
                copy(field.type, value, inner, is_all || (is_given && !has_flagged(from_, field.type, value)));
            }
        } else if (is_given) {
            copy_value(type, field, at, value, &err);
        }
        has_failed = has_failed || err != 0;
    }

    void copy_value(const ptp_cfg_type *type, const ptp_cfg_field_description &field, const Place &at, void *value,
                    u_int32 *err) {
        if (field.kind == PTP_CFG_FIELD_TEXT) {
            const u_int32 length = text_length(type, at.index, from_, at.source);
            ptp_cfg_field_set(type, at.index, to_, memory_class, at.destination, at.element, length == 0 ? "" : value,
                              length, err);
        } else if (field.kind == PTP_CFG_FIELD_OPAQUE) {
            ptp_cfg_field_set(type, at.index, to_, memory_class, at.destination, at.element, value, 0, err);
        } else {
            const u_int64 number =
                ptp_cfg_field_get_value(type, at.index, from_, memory_class, at.source, at.element, err);
            ptp_cfg_field_set_value(type, at.index, to_, memory_class, at.destination, at.element, number, err);
        }
    }

    vela_handle *from_;
    vela_handle *to_;
};

}  // namespace

bool is_given(const ptp_cfg_type *message_type, vela_handle *handle, void *message, std::string_view path) {
    if (!has_state_flags(message_type, handle, message)) {
        return true;
    }
    while (!path.empty()) {  // the field itself, or a structure that it is in and that was set as a whole
        const auto place = find_field(message_type, handle, message, path);
        u_int32 err = 0;
        if (place && ptp_cfg_field_state_flag_get(place->owner, place->index, handle, memory_class, place->instance,
                                                  place->element, &err) != 0) {
            return true;
        }
        const std::size_t dot = path.rfind('.');
        path = path.substr(0, dot == std::string_view::npos ? 0 : dot);
    }
    return false;
}

bool copy_between(const FieldPlace &from, vela_handle *from_handle, const FieldPlace &to, vela_handle *to_handle) {
    u_int32 err = 0;
    if (from.about->kind == PTP_CFG_FIELD_OPAQUE) {
        const void *value =
            ptp_cfg_field_get(from.owner, from.index, from_handle, memory_class, from.instance, from.element, &err);
        ptp_cfg_field_set(to.owner, to.index, to_handle, memory_class, to.instance, to.element, value, 0, &err);
    } else {
        const u_int64 value = ptp_cfg_field_get_value(from.owner, from.index, from_handle, memory_class, from.instance,
                                                      from.element, &err);
        ptp_cfg_field_set_value(to.owner, to.index, to_handle, memory_class, to.instance, to.element, value, &err);
    }
    return err == 0;
}

bool has_state_flags(const ptp_cfg_type *message_type, vela_handle *handle, void *message) {
    const ptp_cfg_field_description &payload = fields_of(message_type).front();
    u_int32 err = 0;
    void *instance =
        payload.type == nullptr ? nullptr : ptp_cfg_field_get(message_type, 0, handle, memory_class, message, 0, &err);
    // A sender without state tracking leaves all flags clear in a receiver that has it: it means every field.
    return instance != nullptr && handle->sttr_record != nullptr && handle->sttr_record->mode == VELA_STTR_ON &&
           (vela_get_instance_obj_flag(instance) & VELA_FLAG_TRACKED) != 0 &&
           has_flagged(handle, payload.type, instance);
}

bool copy_payload(const MessageView &from, const MessageView &to, Copied which, u_int32 index) {
    const ptp_cfg_field_description &payload = fields_of(from.type)[index];
    u_int32 err = 0;
    if (payload.type == nullptr) {
        const u_int64 value =
            ptp_cfg_field_get_value(from.type, index, from.handle, memory_class, from.message, 0, &err);
        ptp_cfg_field_set_value(to.type, index, to.handle, memory_class, to.message, 0, value, &err);
        return err == 0;
    }
    void *source = ptp_cfg_field_get(from.type, index, from.handle, memory_class, from.message, 0, &err);
    void *destination = ptp_cfg_field_get(to.type, index, to.handle, memory_class, to.message, 0, &err);
    if (source == nullptr || destination == nullptr) {
        return false;
    }
    Copier copier(from.handle, to.handle);
    copier.copy(payload.type, source, destination, which == Copied::All);
    return !copier.has_failed;
}

}  // namespace ptp_agent
