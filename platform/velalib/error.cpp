// Remembers which call set an error word, and puts it into a sentence.
#include "velalib/error_text.h"

#include <cstdio>
#include <cstring>

#include "modules.h"
#include "runtime_state.h"
#include "velalib_inline.h"

namespace velalib {

namespace {

struct code_text {
    u_int32 code;
    const char *name;
    const char *meaning;
};

constexpr code_text known_codes[] = {
    {VELA_ENOENT, "VELA_ENOENT", "an element, a payload or an index that must be there is not"},
    {VELA_ENOMEM, "VELA_ENOMEM", "no memory, or a buffer without room"},
    {VELA_EINVAL, "VELA_EINVAL", "an argument that is not valid, such as a null instance"},
    {VELA_ENOSPC, "VELA_ENOSPC", "a text is too long for its destination"},
    {VELA_ENOSYS, "VELA_ENOSYS", "a message arrived for which the application has no handler"},
    {VELA_EEPOCH, "VELA_EEPOCH", "the instance's variant, or the handle's domain, does not have the field or value"},
    {VELA_EDOMAIN, "VELA_EDOMAIN", "the handle's domain does not allow this message"},
    {VELA_EMSGSIZE, "VELA_EMSGSIZE", "a buffer is too short to write to, or ends too early to read from"},
};
constexpr u_int32 known_count = sizeof known_codes / sizeof *known_codes;

bool is_loaded(const vela_module *wanted) {
    const vela_module *module = vela_module_tot_root.first;
    while (module != nullptr && module != wanted) {
        module = module->next;
    }
    return module != nullptr;
}

/** Collects a text of any length; keeps what fits. */
class line {
  public:
    line(char *buffer, u_int32 room) : buffer_(buffer), room_(room) {
        if (room > 0) {
            buffer[0] = '\0';
        }
    }
    template <typename... Words>
    void add(Words... words) {
        (add_one(words), ...);
    }
    u_int32 length() const { return length_; }

  private:
    void add_one(const char *word) {
        const u_int32 count = static_cast<u_int32>(strlen(word));
        if (length_ < room_) {
            const u_int32 left = room_ - 1 - length_;
            const u_int32 kept = count < left ? count : left;
            memcpy(buffer_ + length_, word, kept);
            buffer_[length_ + kept] = '\0';
        }
        length_ += count;
    }

    char *buffer_;
    u_int32 room_;
    u_int32 length_ = 0;
};

/** The function's name and where in it the failure was. */
void add_call(line &out, const failure &failed) {
    const vela_failed_call &call = failed.call;
    if (call.operation == nullptr) {
        return;
    }
    const bool after_field = call.operation[0] == '_' && call.field != nullptr;
    if (call.type != nullptr) {
        out.add(call.type, "_");
    }
    out.add(after_field ? call.field : "", call.operation, ": ");
    const bool elsewhere =
        failed.place_type != nullptr && (call.type == nullptr || strcmp(failed.place_type, call.type) != 0);
    if (failed.place_field != nullptr) {
        out.add("field ", failed.place_field, elsewhere ? " of " : ": ");
    }
    if (elsewhere) {
        out.add(failed.place_type, ": ");
    }
}

}  // namespace

u_int32 failures::index_of(u_int32 code) {
    u_int32 index = 0;
    while (index < known_count && known_codes[index].code != code) {
        ++index;
    }
    return index;
}

failure &failures::begin(u_int32 code) {
    static_assert(count == known_count + 1);
    failure &fresh = failures_[index_of(code)];
    fresh = {};
    fresh.code = code;
    return fresh;
}

const failure *failures::find(u_int32 code) const {
    const failure &kept = failures_[index_of(code)];
    return kept.code == code ? &kept : nullptr;
}

failure *failures::find(u_int32 code) { return const_cast<failure *>(static_cast<const failures *>(this)->find(code)); }

}  // namespace velalib

using namespace velalib;

void vela_clear_last_error(vela_handle *handle) { vela_inline::vela_clear_last_error(handle); }

void vela_store_err(vela_handle *handle, u_int32 code) { vela_inline::vela_store_err(handle, code); }

void vela_store_epoch_err(vela_handle *handle, u_int32 code, u_int32 *err) {
    vela_inline::vela_store_epoch_err(handle, code, err);
}

void vela_note_failure(vela_handle *handle, u_int32 code, const char *reason) {
    handle->runtime->failures.begin(code).reason = reason;
}

void vela_name_failure(vela_handle *handle, u_int32 code, const vela_module *module, const vela_failed_call *call) {
    failure *failed = handle->runtime->failures.find(code);
    // A failure that was not stored in the handle meanwhile is an earlier one of the same code.
    if (failed == nullptr || handle->last_error.code != code) {
        failed = &handle->runtime->failures.begin(code);
    }
    failed->module = module;
    failed->call = *call;
    if (failed->place_type == nullptr || failed->place_field == nullptr) {
        if (failed->place_type == nullptr || call->field != nullptr) {
            failed->place_type = call->type;
        }
        failed->place_field = call->field;
    }
}

const char *vela_error_name(u_int32 code) {
    for (const code_text &known : known_codes) {
        if (known.code == code) {
            return known.name;
        }
    }
    return nullptr;
}

u_int32 vela_error_text(const vela_handle *handle, u_int32 code, char *buffer, u_int32 room) {
    char number[16];
    snprintf(number, sizeof number, "%u", code);
    line out(buffer, room);
    const char *name = vela_error_name(code);
    if (code == 0) {
        out.add(number, " (no error)");
        return out.length();
    }
    out.add(number);
    if (name != nullptr) {
        out.add(" (", name, ")");
    }
    out.add(": ");
    const held_modules held;  // whose texts these are
    const failure *failed = handle != nullptr ? handle->runtime->failures.find(code) : nullptr;
    const char *reason = nullptr;
    if (failed != nullptr && (failed->module == nullptr || is_loaded(failed->module))) {
        add_call(out, *failed);
        reason = failed->reason;
    }
    for (const code_text &known : known_codes) {
        if (reason == nullptr && known.code == code) {
            reason = known.meaning;
        }
    }
    if (reason == nullptr) {
        reason = strerrordesc_np(static_cast<int>(code));
    }
    out.add(reason != nullptr ? reason : "an error of the system or of the application");
    return out.length();
}
