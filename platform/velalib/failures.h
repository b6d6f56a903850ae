// Which call set an error word: one remembered failure for each code.
#pragma once

#include "velalib/runtime.h"

namespace velalib {

/** A failure as it was noted; the texts are those of `module`, which may have been unloaded since. */
struct failure {
    u_int32 code = 0;  // 0: none
    const vela_module *module = nullptr;
    vela_failed_call call = {};
    const char *place_type = nullptr;  // where inside the call it was, when that is known more exactly
    const char *place_field = nullptr;
    const char *reason = nullptr;
};

class failures {
  public:
    /** The failure of a code, which is noted in place of what was remembered for it. */
    failure &begin(u_int32 code);
    /** What is remembered for a code, or nullptr. */
    failure *find(u_int32 code);
    const failure *find(u_int32 code) const;

  private:
    static constexpr u_int32 count = 9;  // the codes of types.h, and one for all others
    static u_int32 index_of(u_int32 code);

    failure failures_[count];
};

}  // namespace velalib
