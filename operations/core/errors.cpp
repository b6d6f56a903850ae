// Failures as the runtime is told of them, and the end of a process that must not go on.
#include "operations/core/errors.h"

#include <stdio.h>

// A product's own runtime may do without remembering failures.
#pragma weak vela_note_failure
#pragma weak vela_name_failure

namespace ptp_cfg {

extern vela_module this_module;  // of module/link.cpp

namespace {

void note(vela_handle *handle, u_int32 code, const char *reason) {
    if (vela_note_failure != nullptr) {
        vela_note_failure(handle, code, reason);
    }
}

const char *operation_of(const call_name &call, const vela_handle *handle, const u_int32 *err) {
    return call.chained != nullptr && err == &handle->chained_err ? call.chained : call.operation;
}

}  // namespace

void fail(vela_handle *handle, u_int32 code, u_int32 *err, const char *reason) {
    if (code == VELA_EEPOCH || code == VELA_EDOMAIN) {
        VELA_CALL(vela_store_epoch_err)(handle, code, err);
    } else {
        *err = code;
        VELA_CALL(vela_store_err)(handle, code);
    }
    note(handle, code, reason);
}

void name_failure(const call_name &call, vela_handle *handle, const u_int32 *err) {
    if (vela_name_failure != nullptr) {
        const vela_failed_call failed = {call.type, call.field, operation_of(call, handle, err)};
        vela_name_failure(handle, *err, &this_module, &failed);
    }
}

void fail_in(const call_name &call, vela_handle *handle, u_int32 code, u_int32 *err, const char *reason) {
    fail(handle, code, err, reason);
    name_failure(call, handle, err);
}

void fail_epoch(vela_handle *handle, const void *instance, u_int32 *err, const char *reason) {
    fail(handle, VELA_EEPOCH, err, instance == nullptr ? "the instance is null" : reason);
}

void trace_refused(const bitlog_trace_points &points, trace::entry text, const call_name &call,
                   const vela_handle *handle, const u_int32 *err) {
    const char *operation = operation_of(call, handle, err);
    const char *field = operation[0] == '_' && call.field != nullptr ? call.field : "";
    char code[12];
    snprintf(code, sizeof code, "%u", *err);
    emit(points, text, field, operation, code);
}

void fatal(const bitlog_trace_points &points, trace::entry what) {
    emit(points, what);
    abort();
}

}  // namespace ptp_cfg
