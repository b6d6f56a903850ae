// How generated headers declare what all types have, without the C header of their subject. No header for programs.
#ifndef PTP_CFG_CPP_FUNCTIONS_HPP
#define PTP_CFG_CPP_FUNCTIONS_HPP

#include "ptp_cfg/cpp/record.hpp"

namespace ptp {
namespace detail {

/** A structure that is created and then read into. */
inline void *decode_structure(calls::create_call *create, calls::unmarshal_call *unmarshal, vela_handle *handle,
                              const u_int8 *bytes, u_int32 length, u_int32 *consumed, u_int32 *err) noexcept {
    void *made = create(handle, handle->chained_mem_class);
    if (made == nullptr) {
        *err = VELA_ENOMEM;
    } else {
        *consumed = unmarshal(handle, handle->chained_mem_class, bytes, made, static_cast<int32>(length), 0, err);
    }
    return made;
}

/** A message, after a look at its identity. */
inline void *decode_message(const u_int8 *luid, calls::take_call *take, vela_handle *handle, const u_int8 *bytes,
                            u_int32 length, u_int32 *consumed, u_int32 *err) noexcept {
    void *made = nullptr;
    if (length < PTP_CFG_MESSAGE_PREFIX) {
        *err = VELA_EMSGSIZE;
    } else if (__builtin_memcmp(bytes + VELA_WIRE_MESSAGE_HEADER, luid, VELA_WIRE_LUID) != 0) {
        *err = VELA_EINVAL;
    } else {
        *consumed = take(handle, handle->chained_mem_class, &made, bytes, length, err);
    }
    return made;
}

}  // namespace detail
}  // namespace ptp

/** Declares a function of C by the type of its call. */
#define PTP_CFG_CPP_CALL(type, name) type name __asm__(#name)

/** What ptp::detail::functions says of a structure. */
#define PTP_CFG_CPP_STRUCTURE(type)                                                                                  \
    namespace ptp {                                                                                                  \
    namespace calls {                                                                                                \
    PTP_CFG_CPP_CALL(set_call, type##_set);                                                                          \
    }                                                                                                                \
    template <>                                                                                                      \
    struct detail::functions<::type> {                                                                               \
        static constexpr const char *name = #type;                                                                   \
        static calls::create_call create __asm__(#type "_create");                                                   \
        static calls::destroy_call destroy __asm__(#type "_destroy");                                                \
        static calls::clone_call clone __asm__(#type "_clone_cr");                                                   \
        static calls::compare_call compare __asm__(#type "_compare");                                                \
        static calls::hash_call hash __asm__(#type "_hash");                                                         \
        static calls::marshal_call marshal __asm__(#type "_marshal");                                                \
        static calls::unmarshal_call unmarshal __asm__(#type "_unmarshal");                                          \
        static void *decode(vela_handle *handle, const u_int8 *bytes, u_int32 length, u_int32 *used, u_int32 *err) { \
            return decode_structure(create, unmarshal, handle, bytes, length, used, err);                            \
        }                                                                                                            \
    };                                                                                                               \
    }

/** The same of a message, by its names with and without "_message". */
#define PTP_CFG_CPP_MESSAGE(type, message)                                                                           \
    VELA_BEGIN_C                                                                                                     \
    VELA_API extern const u_int8 message_##message##_luid[16];                                                       \
    VELA_END_C                                                                                                       \
    namespace ptp {                                                                                                  \
    template <>                                                                                                      \
    struct detail::functions<::type> {                                                                               \
        static constexpr const char *name = #type;                                                                   \
        static calls::create_call create __asm__(#type "_create");                                                   \
        static calls::destroy_call destroy __asm__(#type "_destroy");                                                \
        static calls::marshal_call marshal __asm__(#type "_marshal");                                                \
        static calls::take_call take __asm__(#type "_unmarshal_only");                                               \
        static void *decode(vela_handle *handle, const u_int8 *bytes, u_int32 length, u_int32 *used, u_int32 *err) { \
            return decode_message(message_##message##_luid, take, handle, bytes, length, used, err);                 \
        }                                                                                                            \
    };                                                                                                               \
    }

#endif
