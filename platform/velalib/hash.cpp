// The exported form of the hash function.
#include "velalib_inline.h"

u_int32 SuperFastHash(const void *data, int32 length, u_int32 seed) {
    return vela_inline::SuperFastHash(data, length, seed);
}
