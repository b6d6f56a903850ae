#include "json_records.h"

#include "base/characters.h"
#include "failure.h"
#include "ptp_cfg/json.h"

namespace ptpcfg {
namespace {

struct fault_taker {
    const place_fn &place;
    std::string told;

    static void take(void *self, const ptp_cfg_json_fault *fault) {
        fault_taker &taker = *static_cast<fault_taker *>(self);
        taker.told = taker.place(fault->offset, fault->line, fault->column) + ": " +
                     base::printable(fault->path[0] != '\0' ? std::string(fault->path) + ": " : std::string()) +
                     base::printable(fault->reason);
    }
};

ptp_cfg_json_options options_of(u_int32 rules) {
    ptp_cfg_json_options options{};
    options.size = sizeof options;
    options.rules = rules | PTP_CFG_JSON_STATE_FLAGS | PTP_CFG_JSON_VARIANTS;
    return options;
}

const ptp_cfg_type *any_message() { return ptp_cfg_type_at(ptp_cfg_type_count() - 1); }

/** The message that a text names, for a failure when it is none. */
const ptp_cfg_type *message_of(std::string_view text, const place_fn &place) {
    if (const ptp_cfg_type *type = ptp_cfg_json_identify(text.data(), text.size())) {
        return type;
    }
    const size_t quote = text.find('"');
    const size_t end = quote == std::string_view::npos ? quote : text.find('"', quote + 1);
    if (end == std::string_view::npos || text.front() != '{') {
        return any_message();  // the library says what is wrong with it
    }
    const std::string name(text.substr(quote + 1, end - quote - 1));
    const bool is_type = ptp_cfg_type_find(name.c_str()) != nullptr;
    throw failure(exit_code::bad_input, place(0, 1, 1) + ": " + base::printable(name.substr(0, 80)) +
                                            ": is no message; 'ptpcfg describe' lists them" +
                                            (is_type ? " (for a record alone use --type " + name + ")" : ""));
}

}  // namespace

record record_from_json(std::string_view text, const ptp_cfg_type *wanted, const session &session,
                        const place_fn &place) {
    const ptp_cfg_type *type = wanted != nullptr ? wanted : message_of(text, place);
    fault_taker faults{place, {}};
    ptp_cfg_json_options options = options_of(session.json_rules());
    options.on_fault = fault_taker::take;
    options.cookie = &faults;
    vela_handle *handle = session.handle(session.tracked());
    u_int32 err = 0;
    void *instance =
        ptp_cfg_from_json(handle, memory_class, type, nullptr, text.data(), text.size(), &options, &err, nullptr, 0);
    if (instance == nullptr) {
        if (err == VELA_ENOMEM) {
            throw failure(exit_code::io, place(0, 1, 1) + ": there is no memory to read it");
        }
        throw failure(exit_code::bad_input, faults.told);
    }
    record result(type, instance, handle);
    session.admit(result, place(0, 1, 1));
    return result;
}

void append_json(const record &record, const json_layout &layout, std::string &text) {
    constexpr u_int32 step = 2;
    static std::string buffer(65536, '\0');
    ptp_cfg_json_options options = options_of(layout.qualified ? PTP_CFG_JSON_QUALIFIED : 0);
    options.indent = step;
    for (;;) {
        u_int32 err = 0;
        const u_int32 length = ptp_cfg_to_json(record.handle(), memory_class, record.type(), record.instance(),
                                               buffer.data(), static_cast<u_int32>(buffer.size()), &options, &err);
        if (err == VELA_EMSGSIZE) {
            buffer.resize(length);
            continue;
        }
        if (err != 0) {
            throw failure(exit_code::bad_input, "cannot write as JSON: " + error_text(record.handle(), err));
        }
        const std::string_view written(buffer.data(), length);
        for (size_t at = 0; at < length;) {  // strings have no line feeds of their own
            const size_t end = std::min<size_t>(written.find('\n', at), length);
            text.append(written, at, end - at);
            if (end < length) {
                text.append(1, '\n').append(layout.depth * step, ' ');
            }
            at = end + 1;
        }
        return;
    }
}

}  // namespace ptpcfg
