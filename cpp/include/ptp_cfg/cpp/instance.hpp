// Views of instances: how fields are read and set, for the generated classes to build on.
#ifndef PTP_CFG_CPP_INSTANCE_HPP
#define PTP_CFG_CPP_INSTANCE_HPP

#include <string_view>

#include "ptp_cfg/cpp/result.hpp"
#include "ptp_cfg/cpp/span.hpp"
#include "ptp_cfg/types.h"

/** What must melt into its caller, so that offsets and functions are constants there. */
#define PTP_CFG_CPP_INLINE inline __attribute__((always_inline))

namespace ptp {

/** Functions of C as the classes call them: instances are pointers to nothing in particular, which spares headers. */
namespace calls {

using create_call = void *(vela_handle *, u_int32) noexcept;
using destroy_call = void(vela_handle *, u_int32, void *) noexcept;
using clone_call = void *(vela_handle *, const void *) noexcept;
using compare_call = int32(const void *, const void *) noexcept;
using hash_call = u_int32(const void *, u_int32) noexcept;
using marshal_call = u_int32(vela_handle *, u_int32, u_int8 *, const void *, u_int32, u_int32 *) noexcept;
using unmarshal_call = u_int32(vela_handle *, u_int32, const u_int8 *, void *, int32, u_int32, u_int32 *) noexcept;
using take_call = u_int32(vela_handle *, u_int32, void **, const u_int8 *, u_int32, u_int32 *) noexcept;
using get_call = void *(vela_handle *, u_int32, const void *, u_int32 *) noexcept;
using give_call = void(vela_handle *, u_int32, void *, void *, u_int32 *) noexcept;
using set_call = void(vela_handle *, u_int32, void *, const void *, u_int32 *) noexcept;
using set_element_call = void(vela_handle *, u_int32, void *, u_int32, const void *, u_int32 *) noexcept;
using set_text_call = void(vela_handle *, u_int32, void *, const char *, u_int32, u_int32 *) noexcept;
using set_bytes_call = void(vela_handle *, u_int32, void *, const void *, int32, u_int32 *) noexcept;
template <class T>
using get_value_call = T(vela_handle *, u_int32, void *, u_int32 *) noexcept;
template <class T>
using set_value_call = void(vela_handle *, u_int32, void *, T, u_int32 *) noexcept;
template <class T>
using set_element_value_call = void(vela_handle *, u_int32, void *, u_int32, T, u_int32 *) noexcept;

}  // namespace calls

namespace detail {

/** The functions of a C type; specialised beside its class. */
template <class C>
struct functions;

/** What a setter left behind that nobody looked at: the call that would come next fails with it. */
inline u_int32 left_behind(vela_handle *handle) noexcept {
    const u_int32 code = handle->chained_err;
    if (code != VELA_OK) {
        handle->chained_err = VELA_OK;
    }
    return code;
}

/** An instance that is lent, or none: then fields are 0, false and empty, and setting one is VELA_EINVAL or 43. */
class instance_view {
  public:
    explicit operator bool() const noexcept { return instance_ != nullptr; }
    vela_handle *c_handle() const noexcept { return handle_; }
    /** The variant that the instance follows; -1 for none. */
    int variant() const noexcept { return instance_ == nullptr ? -1 : variant_at(0); }

  protected:
    instance_view(vela_handle *handle, void *instance) noexcept
        : handle_(handle), instance_(static_cast<unsigned char *>(instance)) {}
    instance_view(const instance_view &) = default;
    instance_view &operator=(const instance_view &) = default;

    int variant_at(u_int32 offset) const noexcept {
        return static_cast<const vela_instance_header *>(static_cast<const void *>(at(offset)))->variant;
    }
    bool has(int since) const noexcept { return instance_ != nullptr && variant_at(0) >= since; }
    unsigned char *at(u_int32 offset) const noexcept { return instance_ + offset; }
    /** A part of the instance, from the variant on that has it. */
    void *part(int since, u_int32 offset) const noexcept { return has(since) ? at(offset) : nullptr; }

    template <class T>
    PTP_CFG_CPP_INLINE T load(u_int32 offset) const noexcept {
        T value = T();
        if (instance_ != nullptr) {
            __builtin_memcpy(&value, at(offset), sizeof value);
        }
        return value;
    }
    /** Whether setting is no more than a store: nobody is told of it, and there is no flag to set. */
    PTP_CFG_CPP_INLINE bool is_plain(int since) const noexcept {
        if (has(since) && handle_->pre_write == nullptr && handle_->sttr_record == nullptr) {
            handle_->last_error = vela_last_error();
            return true;
        }
        return false;
    }
    template <class T>
    PTP_CFG_CPP_INLINE status put(bool is_plain, u_int32 offset, T value, calls::set_value_call<T> *call) noexcept {
        if (__builtin_expect(is_plain, 1)) {
            __builtin_memcpy(at(offset), &value, sizeof value);
            return {};
        }
        return {handle_, call_with(value, call)};
    }
    /** Out of line, so that a store needs no frame. */
    template <class T>
    __attribute__((noinline, cold)) u_int32 call_with(T value, calls::set_value_call<T> *call) const noexcept {
        u_int32 err = VELA_OK;
        call(handle_, memory_class(), instance_, value, &err);
        return err;
    }
    /* By name and without templates, because hundreds of fields compile faster so. */
#define PTP_CFG_CPP_NUMBER(type)                                                                      \
    PTP_CFG_CPP_INLINE type load_##type(u_int32 offset) const noexcept { return load<type>(offset); } \
    PTP_CFG_CPP_INLINE status put_##type(int since, u_int32 offset, type value,                       \
                                         calls::set_value_call<type> *call) noexcept {                \
        return put(is_plain(since), offset, value, call);                                             \
    }
    PTP_CFG_CPP_NUMBER(u_int8)
    PTP_CFG_CPP_NUMBER(u_int16)
    PTP_CFG_CPP_NUMBER(u_int32)
    PTP_CFG_CPP_NUMBER(u_int64)
    PTP_CFG_CPP_NUMBER(int8)
    PTP_CFG_CPP_NUMBER(int16)
    PTP_CFG_CPP_NUMBER(int32)
#undef PTP_CFG_CPP_NUMBER
    /** An enumeration of this release's variant, `latest`, has all values below `end`; its number is behind its header. */
    PTP_CFG_CPP_INLINE status put_enumeration(int since, u_int32 offset, int latest, u_int32 end, u_int32 value,
                                              calls::set_value_call<u_int32> *call) noexcept {
        const bool is_store = is_plain(since) && variant_at(offset) == latest && value < end;
        return put(is_store, offset + 12, value, call);
    }
    template <class T>
    PTP_CFG_CPP_INLINE status put_opaque(int since, u_int32 offset, const T &value, calls::set_call *call) noexcept {
        if (is_plain(since)) {
            __builtin_memcpy(at(offset), &value, sizeof value);
            return {};
        }
        return put_instance(&value, call);
    }
    status put_instance(const void *value, calls::set_call *call) noexcept {
        u_int32 err = VELA_OK;
        call(handle_, memory_class(), instance_, value, &err);
        return {handle_, err};
    }
    status put_element(u_int32 capacity, u_int32 index, const void *value, calls::set_element_call *call) noexcept {
        u_int32 err = index < capacity ? VELA_OK : VELA_ENOENT;
        call(handle_, memory_class(), instance_, index, value, &err);
        return {handle_, err};
    }
    template <class T>
    status put_element_value(u_int32 index, T value, calls::set_element_value_call<T> *call) noexcept {
        u_int32 err = VELA_OK;
        call(handle_, memory_class(), instance_, index, value, &err);
        return {handle_, err};
    }
    template <class T>
    status put_elements(u_int32 capacity, span<const T> values, calls::set_bytes_call *call) noexcept {
        u_int32 err = values.size() > capacity ? VELA_EINVAL : VELA_OK;
        call(handle_, memory_class(), instance_, values.data(), static_cast<int32>(values.size() * sizeof(T)), &err);
        return {handle_, err};
    }
    status put_text(std::string_view text, calls::set_text_call *call) noexcept {
        u_int32 err = text.size() > 255 ? VELA_ENOSPC : VELA_OK;
        call(handle_, memory_class(), instance_, text.data(), static_cast<u_int32>(text.size()), &err);
        return {handle_, err};
    }
    std::string_view text(int since, u_int32 offset, u_int32 length_offset) const noexcept {
        const char *characters = has(since) ? load<const char *>(offset) : nullptr;
        return characters == nullptr ? std::string_view() : std::string_view(characters, load_u_int8(length_offset));
    }
    error lacking() const noexcept { return {VELA_EEPOCH, handle_}; }
    u_int32 memory_class() const noexcept { return handle_->chained_mem_class; }

    vela_handle *handle_;
    unsigned char *instance_;
};

/** The same for instances of a C type. */
template <class C>
class typed_view : public instance_view {
  public:
    using c_type = C;

    typed_view(vela_handle *handle, C *instance) noexcept : instance_view(handle, instance) {}

    /** For calls of C. */
    const C *c_instance() const noexcept { return static_cast<const C *>(static_cast<const void *>(instance_)); }

  protected:
    C *mutable_instance() const noexcept { return static_cast<C *>(static_cast<void *>(instance_)); }
};

/** What messages have of it. */
template <class C>
class message_view : public typed_view<C> {
  public:
    message_view(vela_handle *handle, C *instance) noexcept : typed_view<C>(handle, instance) {}

    using typed_view<C>::c_instance;
    C *c_instance() noexcept { return this->mutable_instance(); }

  protected:
    void *payload(calls::get_call *call) const noexcept {
        u_int32 err = VELA_OK;
        return call(this->handle_, this->memory_class(), this->instance_, &err);
    }
    template <class T>
    T payload_value(calls::get_value_call<T> *call) const noexcept {
        u_int32 err = VELA_OK;
        return call(this->handle_, this->memory_class(), this->instance_, &err);
    }
    template <class T>
    status give_value(T value, calls::set_value_call<T> *call) noexcept {
        return this->put(false, 0, value, call);
    }
    /** What the message refuses stays its owner's. */
    template <class Owner>
    status give(Owner &payload, calls::give_call *call) noexcept {
        u_int32 err = VELA_OK;
        call(this->handle_, this->memory_class(), this->instance_, payload.c_instance(), &err);
        if (err == VELA_OK) {
            payload.release();
        }
        return {this->handle_, err};
    }
};

/** A field that the instance's variant lacks is not visited. */
template <class Visitor, class T>
void visit_present(Visitor &visitor, const char *name, const result<T> &value) {
    if (value) {
        visitor(name, *value);
    }
}

}  // namespace detail

}  // namespace ptp

#endif
