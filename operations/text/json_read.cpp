// Reading JSON: which members a text may have, and which it must.
#include "operations/text/json_reader.h"
#include "operations/text/nearest_name.h"
#include "operations/text/xml_short_forms.h"

namespace ptp_cfg {

namespace {

constexpr u_int32 no_index = 0xFFFFFFFFu;

/** Which fields of a structure have been met. */
class known_fields {
  public:
    static constexpr u_int32 most = 1024;

    explicit known_fields(u_int32 count) { memset(bits_, 0, (count + 63) / 64 * sizeof bits_[0]); }
    /** False when it was there before. */
    bool add(u_int32 index) {
        const u_int64 bit = u_int64{1} << index % 64;
        const bool is_new = (bits_[index / 64] & bit) == 0;
        bits_[index / 64] |= bit;
        return is_new;
    }
    bool has(u_int32 index) const { return (bits_[index / 64] >> index % 64 & 1) != 0; }

  private:
    u_int64 bits_[most / 64];
};

/** The field of a name, looked for from `index` on: members nearly always stand in the order of fields. */
u_int32 find_field(const structure_descriptor &type, u_int32 index, std::string_view name) {
    for (u_int32 tried = 0; tried < type.field_count; ++tried, ++index) {
        const field_descriptor &field = type.fields[index < type.field_count ? index : index - type.field_count];
        if (field.name_length == name.size() && memcmp(field.name, name.data(), name.size()) == 0 &&
            !field.is_companion) {
            return index < type.field_count ? index : index - type.field_count;
        }
    }
    return no_index;
}

/** A name as it is meant; one that is too long for any is cut. */
std::string_view plain_name(const json_string &name, char *buffer, size_t room) {
    if (!name.is_escaped) {
        return name.inner;
    }
    const size_t length = unescape_json(name.inner, buffer, room);
    return {buffer, length < room ? length : room};
}

}  // namespace

bool json_reader::opens(char bracket, const char *what) { return scanner_.take(bracket) || wanted(what); }

/** Behind an item: goes on to the next, or behind the closing bracket. */
bool json_reader::goes_on(char closing, bool *is_last) {
    *is_last = scanner_.take(closing);
    if (*is_last || scanner_.take(',')) {
        return true;
    }
    if (scanner_.is_at_end()) {
        return wrong_syntax("the text ends here");
    }
    return wrong_syntax(closing == '}' ? "',' or '}' is wanted" : "',' or ']' is wanted");
}

bool json_reader::name(json_string *name) {
    if (scanner_.next() != '"') {
        return scanner_.is_at_end() ? wrong_syntax("the text ends here")
                                    : wrong_syntax("a member's name in quotes is wanted");
    }
    if (const char *reason = scanner_.take_string(name)) {
        return wrong_syntax(reason);
    }
    return true;
}

bool json_reader::skip() {
    const char *reason = scanner_.skip_value();
    return reason == nullptr || wrong_syntax(reason);
}

bool json_reader::ends() {
    scanner_.pass_blanks();
    return scanner_.is_at_end() || wrong_syntax("something follows behind the value");
}

// ---- structures -----------------------------------------------------------------------------------------------------

/** -1 to -128, as what stands for no instance has, and what a peer may have sent. */
static bool read_negative(std::string_view word, int8 *variant) {
    word.remove_prefix(1);  // substr() would want a C++ runtime
    int number = 0;
    for (const char digit : word) {
        if (digit < '0' || digit > '9' || number > 12 || (number == 0 && digit == '0')) {
            return false;
        }
        number = 10 * number + digit - '0';
    }
    *variant = static_cast<int8>(-number);
    return number > 0 && number <= 128;
}

bool json_reader::variant(int8 latest, int8 *variant) {
    u_int64 number = 0;
    if (scanner_.next() == '-') {
        const size_t at = here();
        return read_negative(scanner_.take_word(), variant) ||
               fault(at, VELA_EINVAL, "a variant from 0 to %d is wanted", latest);
    }
    if (!small_number("a variant", static_cast<u_int64>(latest), &number)) {
        return false;
    }
    *variant = static_cast<int8>(number);
    return true;
}

void json_reader::store_variant(void *instance, int8 variant) {
    if (stores() && header_of(instance)->variant != variant) {
        notify(source_.handle, source_.mem_class, &header_of(instance)->variant, 1);
        header_of(instance)->variant = variant;
    }
}

bool json_reader::elements(const field_descriptor &field, void *instance) {
    const size_t start = here();
    if (!opens('[', "an array")) {
        return false;
    }
    bool is_last = scanner_.take(']');
    u_int32 count = 0;
    while (!is_last) {
        const within element_step(*this, nullptr, 0, count);
        scanner_.pass_blanks();
        if (count == field.capacity) {
            return fault(here(), VELA_EINVAL, "one too many; at most %u are allowed", field.capacity);
        }
        if (!element(field, instance, count++) || !goes_on(']', &is_last)) {
            return false;
        }
    }
    return count == field.capacity || !has(json_all_fields) ||
           fault(start, VELA_EINVAL, "holds %u of %u elements; add the others", count, field.capacity);
}

bool json_reader::member(const structure_descriptor &type, void *instance, u_int32 index) {
    const field_descriptor &field = type.fields[index];
    const within field_step(*this, field.name, field.name_length);
    if (!scanner_.take(':')) {
        return wrong_syntax("':' is wanted");
    }
    return field.is_array ? elements(field, instance) : element(field, instance, 0);
}

/** The members of an object, and what is known of those that came before. */
class json_members {
  public:
    json_members(json_reader &reader, const structure_descriptor &type, void *instance)
        : reader_(reader),
          type_(type),
          instance_(instance),
          variant_(VELA_CALL(vela_get_instance_variant)(instance, 1, 0)),
          seen_(type.field_count) {}

    bool read();

  private:
    bool next();
    bool field(u_int32 index, size_t at);
    bool other(std::string_view name, size_t at);
    bool unknown(std::string_view name, size_t at);
    bool are_complete(size_t start);

    json_reader &reader_;
    const structure_descriptor &type_;
    void *instance_;
    int8 variant_;
    known_fields seen_;
    u_int32 index_ = 0;  // of the field that is expected
    bool is_first_ = true;
    bool has_state_ = false;
};

bool json_members::read() {
    const size_t start = reader_.here();
    if (!reader_.opens('{', "an object")) {
        return false;
    }
    bool is_last = reader_.scanner_.take('}');
    while (!is_last) {
        if (!next() || !reader_.goes_on('}', &is_last)) {
            return false;
        }
        is_first_ = false;
    }
    return !reader_.has(json_all_fields) || are_complete(start);
}

bool json_members::next() {
    json_scanner &scanner = reader_.scanner_;
    scanner.pass_blanks();
    const size_t at = reader_.here();
    while (index_ < type_.field_count && type_.fields[index_].is_companion) {
        ++index_;
    }
    if (index_ < type_.field_count) {
        const field_descriptor &expected = type_.fields[index_];
        if (scanner.take_name(expected.name, expected.name_length)) {
            return field(index_, at);
        }
    }
    json_string raw;
    if (!reader_.name(&raw)) {
        return false;
    }
    char buffer[128];
    const std::string_view name = plain_name(raw, buffer, sizeof buffer);
    const u_int32 index = find_field(type_, index_, name);
    return index != no_index ? field(index, at) : other(name, at);
}

bool json_members::field(u_int32 index, size_t at) {
    const field_descriptor &field = type_.fields[index];
    if (variant_ < static_cast<int>(field.since)) {
        const json_reader::within step(reader_, field.name, field.name_length);
        return reader_.fault(at, VELA_EEPOCH, needs_newer_variant, field.since, type_.name, variant_, leave_it_out);
    }
    if (!seen_.add(index)) {
        const json_reader::within step(reader_, field.name, field.name_length);
        return reader_.fault(at, VELA_EINVAL, stands_twice);
    }
    index_ = index + 1;
    return reader_.member(type_, instance_, index);
}

/** A member that is no field. */
bool json_members::other(std::string_view name, size_t at) {
    const bool is_variant = name == json_variant_member && reader_.has(json_variants);
    const bool is_state = name == json_state_member && reader_.has(json_state_flags);
    if (!is_variant && !is_state) {
        return unknown(name, at);
    }
    const json_reader::within step(reader_, name.data(), name.size());
    if (!reader_.scanner_.take(':')) {
        return reader_.wrong_syntax("':' is wanted");
    }
    if (is_state) {
        const bool is_new = !has_state_;
        has_state_ = true;
        return is_new ? reader_.state(type_, instance_, variant_) : reader_.fault(at, VELA_EINVAL, stands_twice);
    }
    if (!is_first_) {
        return reader_.fault(at, VELA_EINVAL, "belongs at the begin of the object");
    }
    if (!reader_.variant(type_.latest, &variant_)) {
        return false;
    }
    reader_.store_variant(instance_, variant_);
    return true;
}

bool json_members::unknown(std::string_view name, size_t at) {
    const json_reader::within step(reader_, name.data(), name.size());
    if (!reader_.scanner_.take(':')) {
        return reader_.wrong_syntax("':' is wanted");
    }
    if (reader_.has(json_skip_unknown)) {
        return reader_.skip();
    }
    if (name == json_variant_member || name == json_state_member) {
        return reader_.fault(at, VELA_EINVAL, "is not read here; leave it out, or ask for it");
    }
    char wanted[72] = "";
    memcpy(wanted, name.data(), name.size() < sizeof wanted ? name.size() : 0);
    nearest_name nearest(wanted);
    for (u_int32 i = 0; i < type_.field_count; ++i) {
        if (!type_.fields[i].is_companion) {
            nearest.show(type_.fields[i].name);
        }
    }
    if (nearest.found() != nullptr && wanted[0] != '\0') {
        return reader_.fault(at, VELA_EINVAL, "unknown member of %s; did you mean %s?", type_.name, nearest.found());
    }
    return reader_.fault(at, VELA_EINVAL, "unknown member of %s; leave it out", type_.name);
}

bool json_members::are_complete(size_t start) {
    for (u_int32 i = 0; i < type_.field_count; ++i) {
        const field_descriptor &field = type_.fields[i];
        if (!seen_.has(i) && !field.is_companion && static_cast<int>(field.since) <= variant_) {
            return reader_.fault(start, VELA_EINVAL, "\"%s\" is missing; add it", field.name);
        }
    }
    return true;
}

bool json_reader::structure(const structure_descriptor &type, void *instance) {
    if (scanner_.next() == '"' && is_byte_list(type)) {
        return byte_list(type, instance);
    }
    if (type.field_count > known_fields::most) {
        return fault(here(), VELA_EINVAL, "%s has too many fields to be read", type.name);
    }
    return json_members(*this, type, instance).read();
}

// ---- state flags ----------------------------------------------------------------------------------------------------

/** @param block  nullptr: the flags are passed over */
bool json_reader::state_of_field(const field_descriptor &field, u_int8 *block) {
    const u_int32 most = field.is_array ? 1u + field.capacity : 1u;
    bool is_last = !field.is_array;
    if (field.is_array && !opens('[', "an array of flags, that of the array itself first,")) {
        return false;
    }
    for (u_int32 i = 0; i == 0 || !is_last; ++i) {
        u_int64 flag = 0;
        if (i == most) {
            return fault(here(), VELA_EINVAL, "one flag too many; at most %u are allowed", most);
        }
        if (!small_number("a flag", 255, &flag) || (field.is_array && !goes_on(']', &is_last))) {
            return false;
        }
        if (stores() && block != nullptr) {
            notify(source_.handle, source_.mem_class, block + field.flag_position + i, 1);
            block[field.flag_position + i] = static_cast<u_int8>(flag);
        }
    }
    return true;
}

bool json_reader::state(const structure_descriptor &type, void *instance, int8 its_variant) {
    u_int8 *block = tracking_of(source_.handle, type) == tracking::on
                        ? state_block(source_.handle, source_.mem_class, type, instance)
                        : nullptr;
    if (!opens('{', "an object")) {
        return false;
    }
    bool is_last = scanner_.take('}');
    u_int32 index = 0;
    while (!is_last) {
        json_string raw;
        if (!name(&raw)) {
            return false;
        }
        char buffer[128];
        const std::string_view field_name = plain_name(raw, buffer, sizeof buffer);
        const within step(*this, field_name.data(), field_name.size());
        index = find_field(type, index, field_name);
        if (index == no_index || static_cast<int>(type.fields[index].since) > its_variant) {
            return fault(here(), VELA_EINVAL, "is no field of %s that is in use; leave it out", type.name);
        }
        if (!scanner_.take(':')) {
            return wrong_syntax("':' is wanted");
        }
        if (!state_of_field(type.fields[index], block) || !goes_on('}', &is_last)) {
            return false;
        }
    }
    return true;
}

}  // namespace ptp_cfg
