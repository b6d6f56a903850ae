// Which name was probably meant.
#pragma once

#include "velalib.h"

namespace ptp_cfg {

/** Keeps the nearest of the names that it is shown; one that differs in more than a third is none. */
class nearest_name {
  public:
    explicit nearest_name(const char *wanted);

    void show(const char *known);
    /** nullptr when none is near. */
    const char *found() const { return found_; }

  private:
    static constexpr u_int32 longest = 64;  // names beyond have nothing near

    u_int32 distance_to(const char *known, u_int32 length) const;

    const char *wanted_;
    u_int32 length_;
    u_int32 limit_;
    const char *found_ = nullptr;
};

}  // namespace ptp_cfg
