// Reads an input record by record, whatever its format.
#include "record_stream.h"

#include <optional>

#include "failure.h"
#include "json_records.h"
#include "json_splitter.h"
#include "text_encoding.h"
#include "vela_bundle.h"
#include "wire.h"
#include "xml_records.h"
#include "yaml_document.h"
#include "yaml_splitter.h"

namespace ptpcfg {
namespace {

using take_fn = std::function<void(const record &)>;

bool is_message(const ptp_cfg_type *type) { return type != nullptr && describe(type).kind == PTP_CFG_MESSAGE; }

/** All bytes of an input that is one thing. */
std::string_view whole(input_stream &input, const char *what) {
    const std::string_view bytes = input.ahead(longest_message + 1);
    if (bytes.size() > longest_message) {
        throw failure(exit_code::bad_input, input.name() + ": longer than the 64 MiB that " + what + " may have");
    }
    return bytes;
}

void each_message(input_stream &input, const ptp_cfg_type *wanted, const session &session, const take_fn &take) {
    while (!input.ahead(1).empty()) {
        const size_t length = message_length(input.name(), input.offset(), input.ahead(PTP_CFG_MESSAGE_PREFIX));
        const std::string_view bytes = input.ahead(length);
        check_room(input.name(), input.offset(), length, bytes.size());
        take(message_from_bytes(input.name(), input.offset(), bytes.substr(0, length), wanted, session));
        input.skip(length);
    }
}

void each_of_bytes(input_stream &input, const ptp_cfg_type *bare_type, const session &session, const take_fn &take) {
    if (input.ahead(1).empty()) {
        throw failure(exit_code::bad_input, input.name() + ": is empty");
    }
    const bool is_bare = bare_type != nullptr && !is_message(bare_type);
    if (is_bare || is_bundle(input.ahead(VELA_BUNDLE_PREFIX))) {
        const std::string_view bytes = whole(input, is_bare ? "a record" : "a bundle");
        for (const record &each : records_from_bytes(input.name(), bytes, bare_type, session)) {
            take(each);
        }
        return;
    }
    each_message(input, bare_type, session, take);
}

/** Whether there was an element other than frames. */
bool each_piece(xml_splitter &splitter, const input_stream &input, const ptp_cfg_type *bare_type,
                const session &session, fault_list &faults, const take_fn &take) {
    bool has_records = false;
    while (const std::optional<xml_piece> piece = splitter.next()) {
        if (const std::optional<record> each = record_from_xml(input.name(), *piece, bare_type, session, faults)) {
            take(*each);
        }
        has_records = has_records || !piece->is_frame;
    }
    return has_records;
}

/** What is not read as a text: other encodings than UTF-8, and where a form knows no byte order mark, that. */
void check_encoding(input_stream &input, const char *form, bool takes_mark) {
    const std::string_view begin = input.ahead(4);
    const char *fault = is_wide_text(begin) ? "is UTF-16 or UTF-32; save it as UTF-8"
                        : !takes_mark && begin.starts_with(byte_order_mark)
                            ? "begins with a byte order mark; save it as UTF-8 without one"
                            : nullptr;
    if (fault != nullptr) {
        throw failure(exit_code::bad_input, input.name() + ":1:1: not well-formed " + form + ": " + fault);
    }
}

void each_of_xml(input_stream &input, const ptp_cfg_type *bare_type, const session &session, const take_fn &take) {
    check_encoding(input, "XML", true);
    xml_splitter splitter(input);
    fault_list faults(input.name());
    bool has_records = true;
    try {
        has_records = each_piece(splitter, input, bare_type, session, faults, take);
    } catch (const failure &error) {
        // What ends the reading is told behind what was found before.
        if (faults.empty() || error.code() != exit_code::bad_input) {
            throw;
        }
        faults.add(error.what());
    }
    faults.fail_if_any();
    if (!has_records) {
        throw failure(exit_code::bad_input, input.name() + ": holds no message");
    }
}

[[noreturn]] void fail_without_records(const input_stream &input) {
    throw failure(exit_code::bad_input, input.name() + (input.offset() == 0 ? ": is empty" : ": holds no message"));
}

void each_of_json(input_stream &input, const ptp_cfg_type *bare_type, const session &session, const take_fn &take) {
    check_encoding(input, "JSON", false);
    json_splitter splitter(input);
    size_t count = 0;
    for (; const std::optional<text_piece> piece = splitter.next(); ++count) {
        take(record_from_json(piece->text, bare_type, session, [&](size_t, size_t line, size_t column) {
            return place_in(input.name(), *piece, line, column);
        }));
    }
    if (count == 0) {
        fail_without_records(input);
    }
}

void each_of_yaml(input_stream &input, const ptp_cfg_type *bare_type, const session &session, const take_fn &take) {
    check_encoding(input, "YAML", true);
    yaml_splitter splitter(input);
    size_t count = 0;
    while (const std::optional<text_piece> piece = splitter.next()) {
        const yaml_document document(input.name(), *piece);
        for (const std::string_view each : document.records()) {
            ++count;
            take(record_from_json(each, bare_type, session,
                                  [&](size_t offset, size_t, size_t) { return document.place(each, offset); }));
        }
    }
    if (count == 0) {
        fail_without_records(input);
    }
}

}  // namespace

void each_record(input_stream &input, format form, const ptp_cfg_type *bare_type, const session &session,
                 const take_fn &take) {
    if (form == format::xml) {
        each_of_xml(input, bare_type, session, take);
        return;
    }
    if (form == format::json || form == format::yaml) {
        (form == format::json ? each_of_json : each_of_yaml)(input, bare_type, session, take);
        return;
    }
    if (form == format::hex) {
        check_encoding(input, "hex", false);
        input.read_as_hex();
    }
    each_of_bytes(input, bare_type, session, take);
}

}  // namespace ptpcfg
