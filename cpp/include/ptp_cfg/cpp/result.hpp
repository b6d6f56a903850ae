// Errors, and results that are either a value or an error: without exceptions, and with them by value().
#ifndef PTP_CFG_CPP_RESULT_HPP
#define PTP_CFG_CPP_RESULT_HPP

#include <exception>
#include <new>
#include <utility>

#include "velalib/error_text.h"
#include "velalib/types.h"

namespace ptp {

/** What went wrong: a code of velalib/types.h, and the handle that remembers in which call. */
struct error {
    u_int32 code = VELA_OK;
    const vela_handle *handle = nullptr;

    /** "VELA_EEPOCH" and so on; of other codes "". */
    const char *name() const noexcept {
        const char *text = vela_error_name(code);
        return text == nullptr ? "" : text;
    }
    /** Writes which call failed and why, ended by a NUL; while the handle is there. Answers as snprintf does. */
    u_int32 text(char *buffer, u_int32 room) const noexcept { return vela_error_text(handle, code, buffer, room); }
};

inline bool operator==(const error &a, const error &b) noexcept { return a.code == b.code; }
inline bool operator!=(const error &a, const error &b) noexcept { return a.code != b.code; }

/** What value() throws. */
class failure : public std::exception {
  public:
    explicit failure(const error &cause) noexcept : cause_(cause) { cause.text(text_, sizeof text_); }

    /** Of the library: a code of velalib/types.h. */
    u_int32 code() const noexcept { return cause_.code; }
    const char *what() const noexcept override { return text_; }

  private:
    error cause_;
    char text_[256];
};

namespace detail {

/** Throws what belongs to a kind of error, or ends a program that is compiled without exceptions. */
[[noreturn]] inline void throw_error(const error &cause) {
#if defined(__cpp_exceptions)
    throw failure(cause);
#else
    (void)cause;
    std::terminate();
#endif
}

}  // namespace detail

/**
 * A value, or why there is none. E has a member `code`. value() throws where there is none, or ends a program that is
 * compiled without exceptions; operator* and operator-> are for who has asked before.
 */
template <class T, class E = error>
class [[nodiscard]] result {
  public:
    using value_type = T;
    using error_type = E;

    result(const T &value) : value_(value), has_value_(true) {}
    result(T &&value) noexcept : value_(std::move(value)), has_value_(true) {}
    result(const E &cause) : error_(cause), has_value_(false) {}
    result(E &&cause) noexcept : error_(std::move(cause)), has_value_(false) {}
    result(const result &other) : has_value_(other.has_value_) { construct(other); }
    result(result &&other) noexcept : has_value_(other.has_value_) { construct(std::move(other)); }
    result &operator=(result other) noexcept {
        destroy();
        has_value_ = other.has_value_;
        construct(std::move(other));
        return *this;
    }
    ~result() { destroy(); }

    bool has_value() const noexcept { return has_value_; }
    explicit operator bool() const noexcept { return has_value_; }

    T &value() & { return checked(*this).value_; }
    const T &value() const & { return checked(*this).value_; }
    T &&value() && { return std::move(checked(*this).value_); }
    T value_or(T other) const & { return has_value_ ? value_ : std::move(other); }
    T value_or(T other) && { return has_value_ ? std::move(value_) : std::move(other); }

    T &operator*() &noexcept { return value_; }
    const T &operator*() const &noexcept { return value_; }
    T &&operator*() &&noexcept { return std::move(value_); }
    T *operator->() noexcept { return &value_; }
    const T *operator->() const noexcept { return &value_; }

    /** There is one when there is no value. */
    const E &error() const &noexcept { return error_; }
    E &&error() &&noexcept { return std::move(error_); }

  private:
    template <class Self>
    static Self &checked(Self &self) {
        if (!self.has_value_) {
            using detail::throw_error;
            throw_error(self.error_);
        }
        return self;
    }
    template <class Other>
    void construct(Other &&other) {
        if (has_value_) {
            new (&value_) T(std::forward<Other>(other).value_);
        } else {
            new (&error_) E(std::forward<Other>(other).error_);
        }
    }
    void destroy() noexcept {
        if (has_value_) {
            value_.~T();
        } else {
            error_.~E();
        }
    }

    union {
        T value_;
        E error_;
    };
    bool has_value_;
};

/**
 * How a call without a value went. Who looks at it has dealt with it; of one that nobody looks at, the handle keeps the
 * error, and the next call that answers a result on this handle fails with it: a run of setters needs one test.
 */
class status {
  public:
    status() noexcept : handle_(nullptr), code_(VELA_OK) {}
    status(vela_handle *handle, u_int32 code) noexcept : handle_(handle), code_(code) {}
    status(status &&other) noexcept : handle_(other.handle_), code_(other.code_) { other.code_ = VELA_OK; }
    status &operator=(status &&) = delete;
    ~status() {
        if (code_ != VELA_OK && handle_->chained_err == VELA_OK) {
            handle_->chained_err = code_;
        }
    }

    explicit operator bool() noexcept { return !take().code; }
    ptp::error error() noexcept { return take(); }
    /** Throws, or ends the program, as result::value(). */
    void value() {
        const ptp::error cause = take();
        if (cause.code != VELA_OK) {
            detail::throw_error(cause);
        }
    }

  private:
    ptp::error take() noexcept {
        const ptp::error cause{known_ == VELA_OK ? code_ : known_, handle_};
        known_ = cause.code;
        code_ = VELA_OK;
        return cause;
    }

    vela_handle *handle_;
    u_int32 code_;             // nobody has looked at
    u_int32 known_ = VELA_OK;  // somebody has
};

}  // namespace ptp

#endif
