// The operations that are unrolled for each structure, for code that knows it by its descriptor only.
#pragma once

#include "operations/core/descriptors.h"

namespace ptp_cfg {

struct unrolled_functions {
    void *(*create)(vela_handle *, u_int32);
    void (*destroy)(vela_handle *, u_int32, void *);
    u_int32 (*marshal)(vela_handle *, u_int32, u_int8 *, const void *, int32, u_int32 *);
    u_int32 (*marshal_for_clone)(vela_handle *, u_int32, u_int8 *, const void *, int32, u_int32 *);
    u_int32 (*unmarshal)(vela_handle *, u_int32, const u_int8 *, void *, int32, u_int32, u_int32 *);

    // Of structures only; a primitive that is a message's payload has none.
    bool (*can_copy_directly)(const vela_handle *, const void *, int32) = nullptr;
    void (*copy_directly)(vela_handle *, const void *, void *) = nullptr;
    int32 (*compare)(const void *, const void *) = nullptr;
    u_int32 (*hash)(const void *, u_int32) = nullptr;
    u_int32 longest_encoding = 0;  // whatever its variant, flags, texts and extra data
};

template <const structure_descriptor &D>
inline constexpr const unrolled_functions &unrolled_of = unrolled<D>::functions;

}  // namespace ptp_cfg
