// Writing JSON.
#include "operations/instance/enumeration.h"
#include "operations/text/json_characters.h"
#include "operations/text/json_output.h"
#include "operations/text/json_values.h"
#include "operations/text/xml_short_forms.h"

namespace ptp_cfg {

void json_output::break_line() {
    constexpr char blanks[] = "\n                ";
    put(blanks, 1);
    for (u_int32 i = 0; i < depth_; ++i) {
        put(blanks + 1, indent_);
    }
}

void json_output::put_string(const char *text, size_t count) {
    put('"');
    size_t done = 0;
    for (size_t at = 0; at < count; ++at) {
        const u_int8 byte = static_cast<u_int8>(text[at]);
        if (byte >= 0x20 && byte != '"' && byte != '\\' && byte != 0x7F) {
            continue;
        }
        put(text + done, at - done);
        done = at + 1;
        if (byte == '"' || byte == '\\') {
            put('\\');
            put(static_cast<char>(byte));
        } else {
            put("\\u00", 4);
            put_hex(byte, "0123456789abcdef");
        }
    }
    put(text + done, count - done);
    put('"');
}

namespace {

class json_writer {
  public:
    explicit json_writer(const json_target &target)
        : target_(target), out_(target.buffer, target.room, target.indent) {}

    u_int32 length() const { return out_.length(); }

    void enumeration(const enumeration_descriptor &type, const void *instance);
    void structure(const structure_descriptor &type, const void *instance);
    void message(const message_descriptor &type, const message_instance &message);

  private:
    bool has(u_int32 rule) const { return (target_.rules & rule) != 0; }
    void variant(int8 variant) {
        out_.member(json_variant_member);
        out_.put_number(static_cast<int>(variant));
    }
    const u_int8 *flags_of(const structure_descriptor &type, const void *instance) const;
    bool byte_list(const structure_descriptor &type, const void *instance, const u_int8 *flags);
    void flags(const structure_descriptor &type, int8 variant, const u_int8 *block);
    void field(const field_descriptor &field, const void *instance);
    void element(const field_descriptor &field, const void *instance, u_int32 element);
    void primitive(field_kind kind, const u_int8 *value);
    void text(const char *characters, u_int32 count);

    const json_target &target_;
    json_output out_;
};

void json_writer::enumeration(const enumeration_descriptor &type, const void *instance) {
    const u_int32 number = *value_of(instance);
    const int8 its_variant = VELA_CALL(vela_get_instance_variant)(instance, 0, 1);
    const bool has_variant = has(json_variants) && its_variant != type.latest;
    if (has_variant) {
        out_.open('{');
        variant(its_variant);
        out_.member(json_value_member);
    }
    if (number < type.value_count) {  // values ascend without gaps from 0
        out_.put('"');
        out_.put(type.values[number].literal, type.values[number].literal_length);
        out_.put('"');
    } else {
        out_.put_number(number);
    }
    if (has_variant) {
        out_.close('}');
    }
}

void json_writer::primitive(field_kind kind, const u_int8 *value) {
    visit_written(kind, [&](auto primitive, auto written) {
        using P = decltype(primitive);
        using value_kind = decltype(written);
        const auto &stored = *as<typename P::type>(value);
        if constexpr (is_boolean(P::kind)) {
            out_.put(stored != 0 ? std::string_view("true") : std::string_view("false"));
        } else if constexpr (is_64_bit(P::kind)) {
            out_.put('"');
            out_.put_number(stored);
            out_.put('"');
        } else if constexpr (properties_of(P::kind).is_number()) {
            out_.put_number(stored);
        } else {
            char characters[values::longest_text];
            values::bounded_text text(characters, sizeof characters);
            value_kind::write(text, stored);
            out_.put('"');
            out_.put(characters, text.length());
            out_.put('"');
        }
    });
}

void json_writer::text(const char *characters, u_int32 count) {
    if (characters == nullptr) {
        count = 0;
    }
    if (is_json_text(characters, count)) {
        out_.put_string(characters, count);
        return;
    }
    out_.open('{');
    out_.member(json_bytes_member);
    out_.put('"');
    for (u_int32 i = 0; i < count; ++i) {
        out_.put_hex(static_cast<u_int8>(characters[i]), "0123456789abcdef");
    }
    out_.put('"');
    out_.close('}');
}

void json_writer::element(const field_descriptor &field, const void *instance, u_int32 element) {
    const u_int8 *value = storage(field, instance, element);
    switch (field.kind) {
        case field_kind::enumeration:
            enumeration(*field.enumeration, value);
            break;
        case field_kind::structure:
            structure(*field.structure, value);
            break;
        case field_kind::var_string:
            text(*as<var_string>(value), *at(instance, field.companion_offset));
            break;
        default:
            if (is_ipv4_number(field)) {
                out_.put('"');
                for (u_int32 shift = 32; shift > 0; shift -= 8) {
                    out_.put_number(*as<u_int32>(value) >> (shift - 8) & 0xFF);
                    out_.put(shift > 8 ? '.' : '"');
                }
            } else {
                primitive(field.kind, value);
            }
    }
}

void json_writer::field(const field_descriptor &field, const void *instance) {
    out_.member(field.name, field.name_length);
    if (!field.is_array) {
        element(field, instance, 0);
        return;
    }
    out_.open('[');
    for (u_int32 i = 0; i < field.capacity; ++i) {
        out_.next();
        element(field, instance, i);
    }
    out_.close(']');
}

/** The block of state flags when it is to be written and not all zero; else nullptr. */
const u_int8 *json_writer::flags_of(const structure_descriptor &type, const void *instance) const {
    if (!has(json_state_flags) || tracking_of(target_.handle, type) != tracking::on) {
        return nullptr;
    }
    const u_int8 *block = state_block(target_.handle, target_.mem_class, type, instance);
    for (u_int32 i = 0; block != nullptr && i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        const u_int32 count = field.flag_position == no_flag ? 0 : field.is_array ? 1u + field.capacity : 1u;
        for (u_int32 each = 0; each < count; ++each) {
            if (block[field.flag_position + each] != 0) {
                return block;
            }
        }
    }
    return nullptr;
}

void json_writer::flags(const structure_descriptor &type, int8 variant, const u_int8 *block) {
    out_.member(json_state_member);
    out_.open('{');
    for (u_int32 i = 0; i < type.field_count; ++i) {
        const field_descriptor &field = type.fields[i];
        if (field.flag_position == no_flag || static_cast<int>(field.since) > variant) {
            continue;
        }
        const u_int8 *flag = block + field.flag_position;
        if (field.is_array) {
            out_.member(field.name, field.name_length);
            out_.open('[');
            for (u_int32 each = 0; each <= field.capacity; ++each) {
                out_.next();
                out_.put_number(flag[each]);
            }
            out_.close(']');
        } else if (*flag != 0) {
            out_.member(field.name, field.name_length);
            out_.put_number(*flag);
        }
    }
    out_.close('}');
}

/** Writes a structure of bytes alone as one string; false when it needs an object, for there is more to say. */
bool json_writer::byte_list(const structure_descriptor &type, const void *instance, const u_int8 *flags) {
    if (!is_byte_list(type) || flags != nullptr ||
        VELA_CALL(vela_get_instance_variant)(instance, 1, 0) != type.latest) {
        return false;
    }
    const u_int8 *bytes = storage(type.fields[0], instance);
    out_.put('"');
    for (u_int32 i = 0; i < type.fields[0].capacity; ++i) {
        if (i != 0) {
            out_.put('-');
        }
        out_.put_hex(bytes[i], "0123456789ABCDEF");
    }
    out_.put('"');
    return true;
}

void json_writer::structure(const structure_descriptor &type, const void *instance) {
    const u_int8 *block = flags_of(type, instance);
    if (byte_list(type, instance, block)) {
        return;
    }
    const int8 its_variant = VELA_CALL(vela_get_instance_variant)(instance, 1, 0);
    out_.open('{');
    if (has(json_variants) && its_variant != type.latest) {
        variant(its_variant);
    }
    for (u_int32 i = 0; i < type.field_count; ++i) {
        if (!type.fields[i].is_companion && static_cast<int>(type.fields[i].since) <= its_variant) {
            field(type.fields[i], instance);
        }
    }
    if (block != nullptr) {
        flags(type, its_variant, block);
    }
    out_.close('}');
}

void json_writer::message(const message_descriptor &type, const message_instance &message) {
    out_.open('{');
    out_.next();
    out_.put('"');
    if (has(json_qualified)) {
        out_.put(json_module, json_module_length);
    }
    out_.put(type.name, strlen(type.name));
    out_.put(target_.indent == 0 ? std::string_view("\":") : std::string_view("\": "));
    out_.open('{');
    for (u_int32 i = 0; i < type.payload_count; ++i) {
        const payload_descriptor &payload = type.payloads[i];
        out_.member(payload.name, strlen(payload.name));
        if (message.payload[i] == nullptr) {
            out_.put("null", 4);
        } else if (payload.structure != nullptr) {
            structure(*payload.structure, message.payload[i]);
        } else {
            primitive(payload.kind, static_cast<const u_int8 *>(message.payload[i]));
        }
    }
    out_.close('}');
    out_.close('}');
}

}  // namespace

u_int32 enumeration_to_json(const enumeration_descriptor &type, const json_target &target, const void *instance) {
    json_writer writer(target);
    writer.enumeration(type, instance);
    return writer.length();
}

u_int32 structure_to_json(const structure_descriptor &type, const json_target &target, const void *instance) {
    json_writer writer(target);
    writer.structure(type, instance);
    return writer.length();
}

u_int32 message_to_json(const message_descriptor &type, const json_target &target, const void *message) {
    json_writer writer(target);
    writer.message(type, *static_cast<const message_instance *>(message));
    return writer.length();
}

}  // namespace ptp_cfg
