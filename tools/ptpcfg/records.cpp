// Makes records of bytes and texts of records, by the operations that reflection finds.
#include "records.h"

#include <algorithm>

#include "failure.h"
#include "files.h"
#include "unnamed_values.h"
#include "value_forms.h"
#include "wire.h"

namespace ptpcfg {
namespace {

const u_int8 *octets(std::string_view bytes) { return reinterpret_cast<const u_int8 *>(bytes.data()); }

[[noreturn]] void fail_decoding(const std::string &name, u_int64 offset, const wire_walk &walk, u_int32 err) {
    if (walk.problem.empty()) {
        throw failure(exit_code::bad_input, name + ": cannot decode: " + error_text(err));
    }
    throw failure(exit_code::bad_input,
                  name + ": offset " + std::to_string(offset + walk.problem_offset) + ": " + walk.problem);
}

record type_from_bytes(const std::string &name, std::string_view bytes, const ptp_cfg_type *type,
                       const session &session) {
    const bool has_flags = describe(type).kind == PTP_CFG_STRUCTURE && bytes.size() > 1 &&
                           (static_cast<u_int8>(bytes[1]) & VELA_FLAG_TRACKED) != 0;
    vela_handle *handle = session.handle(has_flags);
    const wire_walk walk = walk_type(bytes, type, walk_result::problem);
    if (!walk.problem.empty()) {
        fail_decoding(name, 0, walk, 0);
    }
    record result = new_record(type, handle);
    u_int32 err = 0;
    result.operations().unmarshal(handle, memory_class, octets(bytes), result.instance(),
                                  static_cast<u_int32>(bytes.size()), &err);
    if (err != 0) {
        fail_decoding(name, 0, walk, err);
    }
    session.admit(result, name);
    return result;
}

/** Adds what an operation writes into a buffer, with as much room as it needs. */
template <typename call>
void append_filled(const record &record, std::string &text, const char *doing, call operation) {
    constexpr size_t first_room = 65536;
    // Of blanks, which texts need. Used again and again: a new one would cost more than most operations.
    static std::string buffer(first_room + 1, ' ');
    for (;;) {
        // A tracked encoding may store one byte behind a full buffer.
        const size_t room = buffer.size() - 1;
        u_int32 err = 0;
        const size_t length = operation(buffer.data(), static_cast<u_int32>(room), &err);
        text.append(buffer, 0, err == 0 ? length : 0);
        const size_t used = err == 0 ? std::min(length, room) + 1 : buffer.size();
        std::fill_n(buffer.begin(), used, ' ');
        if (err == 0) {
            return;
        }
        if (err != VELA_EMSGSIZE || room >= longest_message) {
            throw failure(exit_code::bad_input, std::string(describe(record.type()).short_name) + ": cannot " + doing +
                                                    ": " + error_text(record.handle(), err));
        }
        buffer.resize(room * 4 + 1, ' ');
    }
}

}  // namespace

record new_record(const ptp_cfg_type *type, vela_handle *handle) {
    void *instance = describe(type).operations->create(handle, memory_class);
    if (instance == nullptr) {
        throw failure(exit_code::io, "there is no memory for a record");
    }
    return {type, instance, handle};
}

record message_from_bytes(const std::string &name, u_int64 offset, std::string_view message, const ptp_cfg_type *wanted,
                          const session &session) {
    vela_handle *handle = session.handle(message[tracked_offset] != 0);
    const wire_walk walk = walk_message(message, 0, message.size(), walk_result::problem);
    const ptp_cfg_type *type = ptp_cfg_message_identify(octets(message), static_cast<u_int32>(message.size()));
    if (type == nullptr || !walk.problem.empty()) {
        fail_decoding(name, offset, walk, VELA_EINVAL);
    }
    const auto place = [&] { return name + ": offset " + std::to_string(offset); };
    if (wanted != nullptr && type != wanted) {
        throw failure(exit_code::bad_input,
                      place() + ": this is a " + describe(type).short_name + ", not a " + describe(wanted).short_name);
    }
    void *instance = nullptr;
    u_int32 err = 0;
    describe(type).operations->unmarshal_only(handle, memory_class, &instance, octets(message),
                                              static_cast<u_int32>(message.size()), &err);
    record result(type, instance, handle);
    if (err != 0) {
        fail_decoding(name, offset, walk, err);
    }
    if (session.has_domain()) {
        session.admit(result, place());
    }
    return result;
}

std::vector<record> records_from_bytes(const std::string &name, std::string_view bytes, const ptp_cfg_type *bare_type,
                                       const session &session) {
    std::vector<record> records;
    if (bare_type != nullptr && describe(bare_type).kind != PTP_CFG_MESSAGE) {
        records.push_back(type_from_bytes(name, bytes, bare_type, session));
        return records;
    }
    for (const message_span &span : split_messages(name, bytes)) {
        records.push_back(
            message_from_bytes(name, span.offset, bytes.substr(span.offset, span.length), bare_type, session));
    }
    return records;
}

void append_bytes(const record &record, std::string &bytes) {
    append_filled(record, bytes, "encode", [&record](char *buffer, u_int32 room, u_int32 *err) {
        return record.operations().marshal(record.handle(), memory_class, reinterpret_cast<u_int8 *>(buffer),
                                           record.instance(), room, err);
    });
}

void append_xml(const record &record, std::string &text) {
    const size_t from = text.size();
    append_filled(record, text, "write as XML", [&record](char *buffer, u_int32 room, u_int32 *err) {
        return record.operations().to_xml(record.handle(), memory_class, buffer, record.instance(), room, err);
    });
    number_in_xml(record, from, text);
}

void append_print(const record &record, std::string &text) {
    std::string printed;
    append_filled(record, printed, "print", [&record](char *buffer, u_int32 room, u_int32 *err) {
        return record.operations().print(record.handle(), memory_class, buffer, record.instance(), room, err);
    });
    number_in_print(record, 0, printed);
    text += explained_print(printed, record.type());
}

}  // namespace ptpcfg
