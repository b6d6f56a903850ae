// What the generated classes are made of: arrays, owners, and what is done with all of them.
#ifndef PTP_CFG_CPP_RECORD_HPP
#define PTP_CFG_CPP_RECORD_HPP

#include <cstddef>
#include <type_traits>

#include "ptp_cfg/cpp/handle.hpp"
#include "ptp_cfg/cpp/instance.hpp"
#include "ptp_cfg/reflect.h"
#include "ptp_cfg/types.h"

namespace ptp {

/** The elements of an array, each as a view. An index behind the end gives a view of nothing. */
template <class View>
class array_view {
  public:
    class iterator {
      public:
        using iterator_category = std::input_iterator_tag;
        using value_type = View;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = View;

        iterator(const array_view *array, u_int32 index) noexcept : array_(*array), index_(index) {}
        View operator*() const noexcept { return array_[index_]; }
        iterator &operator++() noexcept {
            ++index_;
            return *this;
        }
        iterator operator++(int) noexcept {
            const iterator before = *this;
            ++index_;
            return before;
        }
        bool operator==(const iterator &other) const noexcept { return index_ == other.index_; }
        bool operator!=(const iterator &other) const noexcept { return index_ != other.index_; }

      private:
        array_view array_;
        u_int32 index_;
    };

    array_view(vela_handle *handle, void *first, u_int32 size, u_int32 stride) noexcept
        : handle_(handle),
          first_(static_cast<unsigned char *>(first)),
          size_(first == nullptr ? 0 : size),
          stride_(stride) {}

    u_int32 size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    View operator[](u_int32 index) const noexcept {
        void *element = index < size_ ? first_ + static_cast<std::size_t>(index) * stride_ : nullptr;
        return View(handle_, static_cast<typename View::c_type *>(element));
    }
    iterator begin() const noexcept { return {this, 0}; }
    iterator end() const noexcept { return {this, size_}; }
    /** The elements in use, where another field says how many they are. */
    array_view first(u_int32 count) const noexcept { return {handle_, first_, count < size_ ? count : size_, stride_}; }

  private:
    vela_handle *handle_;
    unsigned char *first_;
    u_int32 size_;
    u_int32 stride_;
};

/** Owns an instance of a structure or message; the generated classes derive from it. */
template <class View>
class owner : public View {
  public:
    using c_type = typename View::c_type;

    /** Takes over an instance that C made on the handle; NULL is none. */
    owner(vela_handle *handle, c_type *instance) noexcept : View(handle, instance) {}
    owner(owner &&other) noexcept : View(other.handle_, other.release()) {}
    owner &operator=(owner &&other) noexcept {
        vela_handle *taken_handle = other.handle_;
        c_type *taken = other.release();
        destroy();
        this->handle_ = taken_handle;
        this->instance_ = static_cast<unsigned char *>(static_cast<void *>(taken));
        return *this;
    }
    owner(const owner &) = delete;
    owner &operator=(const owner &) = delete;
    ~owner() { destroy(); }

    /** Gives the instance to a caller of C, who destroys it. */
    c_type *release() noexcept {
        c_type *given = this->mutable_instance();
        this->instance_ = nullptr;
        return given;
    }

  private:
    void destroy() noexcept {
        if (this->instance_ != nullptr) {
            detail::functions<c_type>::destroy(this->handle_, this->memory_class(), this->instance_);
        }
    }
};

/** The reflected type of a class; what its members are is in ptp_cfg/reflect.h. */
template <class T>
const ptp_cfg_type *type_of() noexcept {
    static const ptp_cfg_type *const found = ptp_cfg_type_find(detail::functions<typename T::c_type>::name);
    return found;
}

/** Creates a record or message with every field 0, false or empty. */
template <class T>
result<T> create(vela_handle *handle) noexcept {
    using c_type = typename T::c_type;
    if (const u_int32 code = detail::left_behind(handle)) {
        return error{code, handle};
    }
    void *made = detail::functions<c_type>::create(handle, handle->chained_mem_class);
    if (made == nullptr) {
        return error{VELA_ENOMEM, handle};
    }
    return T(handle, static_cast<c_type *>(made));
}

/** A deep copy of a record, which the caller owns. */
template <class T>
result<T> clone_of(const typename T::const_view &source) noexcept {
    using c_type = typename T::c_type;
    vela_handle *handle = source.c_handle();
    u_int32 err = detail::left_behind(handle);
    void *copied = err == VELA_OK ? detail::functions<c_type>::clone(handle, source.c_instance()) : nullptr;
    if (err == VELA_OK) {
        err = detail::left_behind(handle);
    }
    T copy(handle, static_cast<c_type *>(copied));
    if (err != VELA_OK) {
        return error{err, handle};
    }
    return copy;
}

namespace detail {

/** The most bytes that a call is told of. */
constexpr u_int32 longest = 0x7fffffff;

/** What encode() does when a setter left an error, state is tracked, or the room is beyond what lengths can say. */
__attribute__((noinline, cold)) inline result<span<u_int8>> encode_unusual(calls::marshal_call *marshal,
                                                                           vela_handle *handle, const void *instance,
                                                                           span<u_int8> room) noexcept {
    u_int32 err = left_behind(handle);
    // A tracked encoding may take one byte beyond the room that it is told.
    const u_int32 spare = handle->sttr_record != nullptr && room.size() != 0 ? 1 : 0;
    const std::size_t bytes = room.size() - spare;
    const u_int32 most = bytes > longest ? longest : static_cast<u_int32>(bytes);
    const u_int32 length = marshal(handle, handle->chained_mem_class, room.data(), instance, most, &err);
    if (err != VELA_OK) {
        return error{err, handle};
    }
    return room.first(length);
}

}  // namespace detail

/** Writes the wire form into `room`, of which it answers what was written. */
template <class T>
PTP_CFG_CPP_INLINE result<span<u_int8>> encode(const T &value, span<u_int8> room) noexcept {
    constexpr calls::marshal_call *marshal = detail::functions<typename T::c_type>::marshal;
    vela_handle *handle = value.c_handle();
    const bool is_unusual =
        handle->chained_err != VELA_OK || handle->sttr_record != nullptr || room.size() > detail::longest;
    if (__builtin_expect(is_unusual, 0)) {
        return detail::encode_unusual(marshal, handle, value.c_instance(), room);
    }
    u_int32 err = VELA_OK;
    const u_int32 length = marshal(handle, handle->chained_mem_class, room.data(), value.c_instance(),
                                   static_cast<u_int32>(room.size()), &err);
    if (__builtin_expect(err != VELA_OK, 0)) {
        return error{err, handle};
    }
    return room.first(length);
}

/** Reads a record or message of a known type. Bytes that hold none leave nothing behind. */
template <class T>
result<T> decode(vela_handle *handle, span<const u_int8> bytes, u_int32 *consumed = nullptr) noexcept {
    using c_type = typename T::c_type;
    u_int32 err = detail::left_behind(handle);
    const u_int32 most = bytes.size() > detail::longest ? detail::longest : static_cast<u_int32>(bytes.size());
    u_int32 length = 0;
    void *instance = nullptr;
    if (err == VELA_OK) {
        instance = detail::functions<c_type>::decode(handle, bytes.data(), most, &length, &err);
    }
    if (consumed != nullptr) {
        *consumed = length;
    }
    T made(handle, static_cast<c_type *>(instance));
    if (err != VELA_OK) {
        return error{err, handle};
    }
    return made;
}

namespace detail {

/** Two classes of one structure: owner and views compare with each other. */
template <class A, class B>
using same_record = std::enable_if_t<std::is_same<typename A::c_type, typename B::c_type>::value, int>;

template <class A, class B>
int32 compare(const A &a, const B &b) noexcept {
    return functions<typename A::c_type>::compare(a.c_instance(), b.c_instance());
}

/** What std::hash of a structure's classes is. */
struct record_hash {
    template <class T>
    std::size_t operator()(const T &value) const noexcept {
        return functions<typename T::c_type>::hash(value.c_instance(), 0);
    }
};

}  // namespace detail

template <class A, class B, detail::same_record<A, B> = 0>
bool operator==(const A &a, const B &b) noexcept {
    return detail::compare(a, b) == 0;
}
template <class A, class B, detail::same_record<A, B> = 0>
bool operator!=(const A &a, const B &b) noexcept {
    return detail::compare(a, b) != 0;
}
template <class A, class B, detail::same_record<A, B> = 0>
bool operator<(const A &a, const B &b) noexcept {
    return detail::compare(a, b) < 0;
}
template <class A, class B, detail::same_record<A, B> = 0>
bool operator>(const A &a, const B &b) noexcept {
    return detail::compare(a, b) > 0;
}
template <class A, class B, detail::same_record<A, B> = 0>
bool operator<=(const A &a, const B &b) noexcept {
    return detail::compare(a, b) <= 0;
}
template <class A, class B, detail::same_record<A, B> = 0>
bool operator>=(const A &a, const B &b) noexcept {
    return detail::compare(a, b) >= 0;
}

}  // namespace ptp

#endif
