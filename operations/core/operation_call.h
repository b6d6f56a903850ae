// The frame of an operation with an error word: how it opens, and what is said when it has failed.
#pragma once

#include "operations/core/errors.h"

namespace ptp_cfg {

/** Lives as long as the operation does. When that has failed it says so at the end, in the operation's name. */
class operation_call {
  public:
    operation_call(const call_name &name, vela_handle *handle, u_int32 *err)
        : name_(name), handle_(handle), err_(err) {}
    ~operation_call() {
        if (is_open_ && *err_ != 0) [[unlikely]] {
            name_failure(name_, handle_, err_);
        }
    }
    operation_call(const operation_call &) = delete;
    operation_call &operator=(const operation_call &) = delete;

    /** False, after a trace, when the word is set: the operation then does nothing. */
    template <class Type>
    bool open(const Type &type) {
        if (*err_ != 0) {
            trace_refused(type, name_, handle_, err_);
            return false;
        }
        begin();
        return true;
    }
    /** The same of a message, which has a trace for each operation. */
    bool open(const message_descriptor &type, trace::entry refused) {
        if (*err_ != 0) {
            emit(type.trace, refused, strerror(static_cast<int>(*err_)));
            return false;
        }
        begin();
        return true;
    }

    /** False, with the error given, when something does not hold. */
    bool require(bool holds, const char *reason, u_int32 code = VELA_EINVAL) {
        if (!holds) {
            refuse(reason, code);
        }
        return holds;
    }
    void refuse(const char *reason, u_int32 code = VELA_EINVAL) { fail(handle_, code, err_, reason); }

  private:
    void begin() {
        is_open_ = true;
        clear_last_error(handle_);
    }

    call_name name_;
    vela_handle *handle_;
    u_int32 *err_;
    bool is_open_ = false;
};

}  // namespace ptp_cfg
