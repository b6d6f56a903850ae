// Reading JSON: messages, and a reading as a whole.
#include "operations/text/json_reader.h"
#include "values/value.h"

namespace ptp_cfg {

namespace {

/** Runs a reading once on an instance of its own; on one of the caller's it goes over all before it stores anything. */
template <class Read>
void read_whole(const json_source &source, json_owner owner, u_int32 *err, Read &&read) {
    json_texts texts(source);
    const auto run = [&](json_pass pass) {
        json_reader reader(source, pass, texts);
        const bool is_read = read(reader) && reader.ends();
        if (!is_read) {
            fail(source.handle, reader.err(), err);
        }
        return is_read;
    };
    if (owner == json_owner::reading) {
        run(json_pass::check_and_store);
    } else if (run(json_pass::check)) {
        run(json_pass::store);
    }
}

std::string_view unqualified(std::string_view name) {
    name.remove_prefix(values::begins_with(name, json_module) ? json_module_length : 0);
    return name;
}

}  // namespace

bool json_reader::payload(const message_descriptor &type, message_instance &message, u_int32 index, bool *absent) {
    const payload_descriptor &payload = type.payloads[index];
    const within payload_step(*this, payload.name, strlen(payload.name));
    if (!scanner_.take(':')) {
        return wrong_syntax("':' is wanted");
    }
    const bool is_null = scanner_.next() == 'n';
    void *value = message.payload[index];
    if (is_null && values::begins_with(scanner_.rest(), "null")) {
        scanner_.pass(4);
        absent[index] = true;
        return true;
    }
    if (value == nullptr) {
        return fault(here(), VELA_EINVAL, "the message that is read into has no such payload");
    }
    return payload.structure != nullptr ? structure(*payload.structure, value)
                                        : primitive(payload.kind, static_cast<u_int8 *>(value));
}

bool json_reader::unknown_payload(const message_descriptor &type, std::string_view name, size_t at) {
    const within step(*this, name.data(), name.size());
    if (!has(json_skip_unknown)) {
        return fault(at, VELA_EINVAL, "unknown member of %s; \"%s\" is known", type.name, type.payloads[0].name);
    }
    return scanner_.take(':') ? skip() : wrong_syntax("':' is wanted");
}

bool json_reader::next_payload(const message_descriptor &type, message_instance &message, bool *absent, bool *seen) {
    scanner_.pass_blanks();
    const size_t at = here();
    json_string raw;
    if (!name(&raw)) {
        return false;
    }
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        if (raw.inner != type.payloads[i].name) {
            continue;
        }
        if (seen[i]) {
            const within step(*this, raw.inner.data(), raw.inner.size());
            return fault(at, VELA_EINVAL, stands_twice);
        }
        seen[i] = true;
        return payload(type, message, i, absent);
    }
    return unknown_payload(type, raw.inner, at);
}

bool json_reader::payloads(const message_descriptor &type, message_instance &message, bool *absent) {
    const size_t start = (scanner_.pass_blanks(), here());
    if (!opens('{', "an object")) {
        return false;
    }
    bool is_last = scanner_.take('}');
    bool seen[2] = {};
    while (!is_last) {
        if (!next_payload(type, message, absent, seen) || !goes_on('}', &is_last)) {
            return false;
        }
    }
    for (u_int32 i = 0; i < type.payload_count && !has(json_skip_unknown); ++i) {
        if (!seen[i]) {
            return fault(start, VELA_EINVAL, "\"%s\" is missing; add it", type.payloads[i].name);
        }
    }
    return true;
}

bool json_reader::message(const message_descriptor &type, message_instance &message, bool *absent) {
    if (!opens('{', "an object that is named after the message")) {
        return false;
    }
    scanner_.pass_blanks();
    const size_t at = here();
    json_string raw;
    if (!name(&raw)) {
        return false;
    }
    const within message_step(*this, raw.inner.data(), raw.inner.size());
    if (unqualified(raw.inner) != type.name) {
        return fault(at, VELA_EINVAL, "is not the message that is read here; \"%s\" is wanted", type.name);
    }
    if (!scanner_.take(':')) {
        return wrong_syntax("':' is wanted");
    }
    if (!payloads(type, message, absent)) {
        return false;
    }
    if (!scanner_.take(',')) {
        return scanner_.take('}') || wrong_syntax("'}' is wanted behind a message");
    }
    scanner_.pass_blanks();
    return fault(here(), VELA_EINVAL, "a message has one member; begin another message for what stands here");
}

void enumeration_from_json(const enumeration_descriptor &type, const json_source &source, void *instance,
                           json_owner owner, u_int32 *err) {
    read_whole(source, owner, err, [&](json_reader &reader) {
        return reader.enumeration(type, instance, VELA_CALL(vela_get_instance_variant)(instance, 0, 1));
    });
}

void structure_from_json(const structure_descriptor &type, const json_source &source, void *instance, json_owner owner,
                         u_int32 *err) {
    read_whole(source, owner, err, [&](json_reader &reader) { return reader.structure(type, instance); });
}

void message_from_json(const message_descriptor &type, const json_source &source, void *message, json_owner owner,
                       bool *absent, u_int32 *err) {
    read_whole(source, owner, err, [&](json_reader &reader) {
        return reader.message(type, *static_cast<message_instance *>(message), absent);
    });
}

std::string_view json_first_member(const char *text, size_t length) {
    json_scanner scanner(text, length);
    json_string name{};
    if (!scanner.take('{') || scanner.next() != '"' || scanner.take_string(&name) != nullptr) {
        return {};
    }
    return unqualified(name.inner);
}

}  // namespace ptp_cfg
