// XML and JSON, by every rule. What was read is written, read and written to the same text; what was refused changed
// nothing; and what one format says of an instance, the others say as well.
#include "ptp_cfg/json.h"
#include "targets.h"
#include "velalib.h"

namespace fuzz {
namespace {

constexpr u_int32 longest_text = 1u << 20;

/** What an input chooses before its text. */
struct choice {
    const ptp_cfg_type *type;
    handle_kind kind;
    u_int32 rules;
    explicit choice(input &in)
        : type(ptp_cfg_type_at(in.octet() % ptp_cfg_type_count())), kind(in.octet()), rules(in.octet()) {}
};

octets chosen(u_int64 number, u_int8 kind, u_int32 rules, const std::string &text) {
    octets result = {static_cast<u_int8>(number % ptp_cfg_type_count()), kind, static_cast<u_int8>(rules)};
    result.insert(result.end(), text.begin(), text.end());
    return result;
}

std::string &scratch() {
    static std::string room(longest_text, ' ');
    return room;
}

std::string xml_of(const instance &it, u_int32 &err) {
    std::string &room = scratch();
    const u_int32 count =
        it.calls().to_xml(it.handle(), mem_class, room.data(), it.get(), static_cast<u_int32>(room.size()), &err);
    return room.substr(0, count);
}

std::string json_of(const instance &it, u_int32 rules, u_int32 &err) {
    std::string &room = scratch();
    const ptp_cfg_json_options options = {sizeof options, rules, 0, nullptr, nullptr};
    const u_int32 count = ptp_cfg_to_json(it.handle(), mem_class, it.type(), it.get(), room.data(),
                                          static_cast<u_int32>(room.size()), &options, &err);
    return room.substr(0, count);
}

/** A filled instance of the type that the number chooses. */
instance filled(vela_handle *handle, u_int64 number) {
    const ptp_cfg_type *type = ptp_cfg_type_at(static_cast<u_int32>(number % ptp_cfg_type_count()));
    instance it(handle, type);
    random_source random(static_cast<u_int32>(number + 1));
    fill(it, random);
    return {handle, type, it.release()};
}

/** Reads a document into an instance, or makes the message that it holds, in place of `it`. */
u_int32 read_xml(instance &it, const std::string &text, u_int32 rules) {
    vela_xml_options options = {sizeof options, rules, nullptr, nullptr};
    char why[128];
    u_int32 err = 0;
    vela_xml_document *document = vela_xml_parse_with(text.data(), text.size(), &options, &err, why, sizeof why);
    require((document != nullptr) == (err == 0), "a document and an error, or neither");
    if (err != 0) {
        return err;
    }
    if (!is_message(it.type())) {
        const std::string path = std::string("//") + describe(it.type()).name;
        it.calls().from_xml(it.handle(), mem_class, path.c_str(), document, it.get(), &err, why, sizeof why);
    } else if (void *made = it.calls().from_document(it.handle(), mem_class, document, &err, why, sizeof why)) {
        it.calls().destroy(it.handle(), mem_class, it.release());
        it.take_over(made);
    }
    vela_xml_destroy(document);
    return err;
}

u_int32 read_json(const instance &it, const std::string &text, u_int32 rules) {
    const ptp_cfg_json_options options = {sizeof options, rules, 0, nullptr, nullptr};
    char why[128];
    u_int32 err = 0;
    void *read = ptp_cfg_from_json(it.handle(), mem_class, it.type(), it.get(), text.data(), text.size(), &options,
                                   &err, why, sizeof why);
    require(read == (err == 0 ? it.get() : nullptr), "JSON is read into another instance", describe(it.type()).name);
    return err;
}

constexpr u_int32 faithful_json = PTP_CFG_JSON_STATE_FLAGS | PTP_CFG_JSON_VARIANTS;

}  // namespace

namespace {

void read_and_write_xml(vela_handle *handle, const choice &chose, const std::string &text) {
    const char *name = describe(chose.type).name;
    instance it(handle, chose.type);
    const encoding before = encode(it);
    const u_int32 failed = read_xml(it, text, chose.rules & 31);
    count_execution(chose.type, failed == 0);
    if (failed != 0 && (chose.rules & VELA_XML_STRICT) != 0) {
        require(encode(it) == before, "a refused document changed something", name);
    }
    u_int32 err = 0;
    const std::string written = xml_of(it, err);
    if (failed != 0 || err != 0) {
        return;
    }
    instance again(handle, chose.type);
    // What no literal stands for is written so that reading leaves it out.
    if (read_xml(again, written, 0) == 0 && written.find("value out of range") == std::string::npos) {
        require(xml_of(again, err) == written, "XML is not stable", name);
    }
}

}  // namespace

void run_xml(input in) {
    const choice chose(in);
    const std::string text = in.text();
    if (is_message(chose.type) && (chose.rules & VELA_XML_STRICT) == 0) {
        read_and_write_xml(temporary_handle(chose.kind), chose, text);
        return;
    }
    vela_handle *handle = handle_of(chose.kind);
    read_and_write_xml(handle, chose, text);
    require_nothing_left(handle, describe(chose.type).name);
}

octets make_xml(u_int64 number) {
    const u_int8 kind = static_cast<u_int8>(number / ptp_cfg_type_count());
    u_int32 err = 0;
    const instance it = filled(handle_of(handle_kind(kind)), number);
    return chosen(number, kind, static_cast<u_int32>(number / ptp_cfg_type_count()), xml_of(it, err));
}

void run_json(input in) {
    const choice chose(in);
    const std::string text = in.text();
    vela_handle *handle = handle_of(chose.kind);
    const char *name = describe(chose.type).name;
    {
        const instance it(handle, chose.type);
        random_source random(chose.rules + 1);
        fill(it, random);
        const encoding before = encode(it);
        const u_int32 failed = read_json(it, text, chose.rules & 31);
        count_execution(chose.type, failed == 0);
        require(failed == 0 || encode(it) == before, "a refused text changed something", name);
        u_int32 err = 0;
        const std::string written = json_of(it, faithful_json, err);
        if (failed == 0 && err == 0) {
            const instance again(handle, chose.type);
            require(read_json(again, written, faithful_json) == 0, "its own JSON is refused", name);
            require(json_of(again, faithful_json, err) == written, "JSON is not stable", name);
        }
    }
    require_nothing_left(handle, name);
}

octets make_json(u_int64 number) {
    const u_int8 kind = static_cast<u_int8>(number / ptp_cfg_type_count());
    const u_int32 rules = static_cast<u_int32>(number / ptp_cfg_type_count()) & 31;
    u_int32 err = 0;
    const instance it = filled(handle_of(handle_kind(kind)), number);
    return chosen(number, kind, rules, json_of(it, rules & 7, err));
}

namespace {

/** Decodes into `it`, or makes the message of the bytes in its place; what it encodes to. */
encoding decoded(instance &it, std::span<const u_int8> bytes) {
    const u_int32 length = static_cast<u_int32>(bytes.size());
    u_int32 err = 0;
    if (is_message(it.type())) {
        u_int32 consumed = 0;
        it.calls().destroy(it.handle(), mem_class, it.release());
        it.take_over(it.calls().take(it.handle(), mem_class, bytes.data(), length, &consumed, &err));
    } else {
        it.calls().unmarshal(it.handle(), mem_class, bytes.data(), it.get(), length, &err);
    }
    return err == 0 ? encode(it) : encoding{err, {}};
}

}  // namespace

/** Bytes, and from what they hold to JSON and XML and back. */
void run_formats(input in) {
    const choice chose(in);
    const temporary_handle handle(chose.kind);
    const char *name = describe(chose.type).name;
    instance it(handle, chose.type);
    const encoding wire = decoded(it, in.rest());
    count_execution(chose.type, wire.err == 0);
    if (wire.err != 0) {
        return;
    }
    u_int32 err = 0;
    const std::string json = json_of(it, faithful_json, err);
    const instance from_json(handle, chose.type);
    require(err == 0, "what came by wire is not written as JSON", name);
    const u_int32 refused = read_json(from_json, json, faithful_json);
    if (refused == VELA_EEPOCH) {
        return;  // of an enumeration whose variant does not have its value, the wire has the number and JSON a fault
    }
    require(refused == 0, "what came by wire is refused as JSON", name);
    require(json_of(from_json, faithful_json, err) == json, "wire and JSON differ", name);
    const std::string xml = xml_of(it, err);
    instance from_xml(handle, chose.type);
    require(err == 0, "what came by wire is not written as XML", name);
    // XML reads back neither state flags nor variants nor what no literal stands for.
    const bool is_all = xml.find("value out of range") == std::string::npos &&
                        xml.find(" state=") == std::string::npos && json.find("\"$variant\"") == std::string::npos;
    if (is_all && read_xml(from_xml, xml, 0) == 0) {
        require(xml_of(from_xml, err) == xml, "wire and XML differ", name);
    }
}

octets make_formats(u_int64 number) {
    const u_int8 kind = static_cast<u_int8>(number / ptp_cfg_type_count());
    const octets bytes =
        encoding_of(ptp_cfg_type_at(static_cast<u_int32>(number % ptp_cfg_type_count())), number, kind);
    return chosen(number, kind, 0, {bytes.begin(), bytes.end()});
}

}  // namespace fuzz
