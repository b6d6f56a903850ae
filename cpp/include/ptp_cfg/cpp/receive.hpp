// Receiving: bytes of any message to an owner of it, or to the function that takes messages of its type.
#ifndef PTP_CFG_CPP_RECEIVE_HPP
#define PTP_CFG_CPP_RECEIVE_HPP

#include <exception>

#include "ptp_cfg/cpp/record.hpp"
#include "ptp_cfg/receive.h"

namespace ptp {

/** Owns a message whose type is known at run time. */
class any_message {
  public:
    any_message(vela_handle *handle, const ptp_cfg_type *type, void *message) noexcept
        : handle_(handle), type_(type), message_(message) {}
    any_message(any_message &&other) noexcept : handle_(other.handle_), type_(other.type_), message_(other.release()) {}
    any_message &operator=(any_message &&other) noexcept {
        if (this != &other) {
            destroy();
            handle_ = other.handle_;
            type_ = other.type_;
            message_ = other.release();
        }
        return *this;
    }
    ~any_message() { destroy(); }

    /** Of ptp_cfg/reflect.h, which says its name and what it holds. */
    const ptp_cfg_type *type() const noexcept { return type_; }
    /** Whether it is one: not after it was taken. */
    explicit operator bool() const noexcept { return message_ != nullptr; }
    template <class M>
    bool is() const noexcept {
        return message_ != nullptr && type_ == type_of<M>();
    }
    /** Gives it as what it is; VELA_EINVAL when it is another, and it stays here. */
    template <class M>
    result<M> take() noexcept {
        if (!is<M>()) {
            return error{VELA_EINVAL, nullptr};
        }
        return M(handle_, static_cast<typename M::c_type *>(release()));
    }
    void *release() noexcept {
        void *given = message_;
        message_ = nullptr;
        return given;
    }

  private:
    void destroy() noexcept { ptp_cfg_message_destroy(handle_, handle_->chained_mem_class, type_, message_); }

    vela_handle *handle_;
    const ptp_cfg_type *type_;
    void *message_;
};

/** Receives a message of whatever type. Bytes that hold none leave nothing behind. */
inline result<any_message> receive(vela_handle *handle, span<const u_int8> bytes,
                                   u_int32 *consumed = nullptr) noexcept {
    const ptp_cfg_type *type = nullptr;
    u_int32 err = detail::left_behind(handle);
    const u_int32 length = bytes.size() > 0x7fffffff ? 0x7fffffff : static_cast<u_int32>(bytes.size());
    void *message = ptp_cfg_receive(handle, handle->chained_mem_class, &type, bytes.data(), length, consumed, &err);
    if (err != VELA_OK) {
        return error{err, handle};
    }
    return any_message(handle, type, message);
}

namespace detail {

/** The message that a function takes, by value or by rvalue reference. */
template <class F>
struct taken_by : taken_by<decltype(&F::operator())> {};
template <class R, class M>
struct taken_by<R (*)(M)> {
    using type = std::remove_cv_t<std::remove_reference_t<M>>;
};
template <class R, class C, class M>
struct taken_by<R (C::*)(M)> : taken_by<R (*)(M)> {};
template <class R, class C, class M>
struct taken_by<R (C::*)(M) const> : taken_by<R (*)(M)> {};
template <class R, class C, class M>
struct taken_by<R (C::*)(M) noexcept> : taken_by<R (*)(M)> {};
template <class R, class C, class M>
struct taken_by<R (C::*)(M) const noexcept> : taken_by<R (*)(M)> {};
template <class F>
using message_of = typename taken_by<std::remove_cv_t<std::remove_reference_t<F>>>::type;

/** Gives the message to a function that takes its type. */
template <class F>
bool give(any_message &message, F &function) {
    using M = message_of<F>;
    if constexpr (std::is_same<M, any_message>::value) {
        function(std::move(message));
        return true;
    } else {
        if (!message.is<M>()) {
            return false;
        }
        function(M(*message.take<M>()));
        return true;
    }
}

/** What the receiver of C finds behind its context. */
template <class Give>
struct dispatching {
    Give give;
#if defined(__cpp_exceptions)
    std::exception_ptr thrown;
#endif
};

template <class Give>
void receive_one(vela_handle *handle, u_int32, void *context, const ptp_cfg_type *type, void *message, u_int32 *err) {
    auto &all = *static_cast<dispatching<Give> *>(context);
    any_message owned(handle, type, message);
#if defined(__cpp_exceptions)
    // No exception passes through C; what comes after it is not given to anyone.
    if (all.thrown != nullptr) {
        return;
    }
    try {
        if (!all.give(owned)) {
            *err = VELA_ENOSYS;
        }
    } catch (...) {
        all.thrown = std::current_exception();
    }
#else
    if (!all.give(owned)) {
        *err = VELA_ENOSYS;
    }
#endif
}

}  // namespace detail

/** What became of the messages of a bundle: how many there were, were given to a function, and failed. */
using report = ptp_cfg_bundle_report;

/**
 * Gives each message of a bundle, or the one that the bytes are, to the first function that takes its type:
 *
 *     ptp::dispatch(handle, bytes, [](ptp::clock_cfg_message message) { ... },
 *                                  [](ptp::port_cfg_message message) { ... },
 *                                  [](ptp::any_message message) { ... });
 *
 * A message that nobody takes, or that cannot be decoded, is destroyed, counted as failed in the report, and does not
 * keep those after it from being delivered. Where the bytes are no bundle, that is a failure too, the last. An exception
 * that a function throws comes out here; the messages after it are destroyed. The result is an error only where a setter
 * before had left one behind.
 */
template <class... Functions>
result<report> dispatch(vela_handle *handle, span<const u_int8> bytes, Functions &&...functions) {
    u_int32 err = detail::left_behind(handle);
    if (err != VELA_OK) {
        return error{err, handle};
    }
    auto give = [&](any_message &message) { return (detail::give(message, functions) || ...); };
    detail::dispatching<decltype(give)> all {
        give
#if defined(__cpp_exceptions)
            ,
            nullptr
#endif
    };
    report became = {};
    const u_int32 length = bytes.size() > 0x7fffffff ? 0x7fffffff : static_cast<u_int32>(bytes.size());
    ptp_cfg_dispatch_bundle(handle, handle->chained_mem_class, detail::receive_one<decltype(give)>, &all, bytes.data(),
                            length, &became, &err);
#if defined(__cpp_exceptions)
    if (all.thrown != nullptr) {
        std::rethrow_exception(all.thrown);
    }
#endif
    return became;
}

}  // namespace ptp

#endif
