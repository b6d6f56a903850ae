// A field of a structure, found once by its path, and set as often as needed.
#pragma once

#include <string_view>
#include <vector>

#include "agent/observe/report_row.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/reflect.h"

namespace ptp_agent {

class FieldPath {
  public:
    /** Throws std::logic_error when the structure has no such field. */
    FieldPath(const ptp_cfg_type *structure, std::string_view path);

    /**
     * Sets the field; false when it does not take the value.
     * @param marks  whether the state flags on the way to it and its own say that it was set; else its own are clear
     */
    bool set(vela_handle *handle, void *instance, const Value &value, bool marks = true) const;

  private:
    struct Step {
        const ptp_cfg_type *type;
        u_int32 index;
        u_int32 capacity;
    };
    std::vector<Step> steps_;
};

/** The type of a message's payload, or null. */
const ptp_cfg_type *payload_type(const ptp_cfg_type *message, u_int32 index);

/** Lends an element of an array of structures, marked as set. */
void *mark_element(const ptp_cfg_type *structure, std::string_view field, vela_handle *handle, void *instance,
                   u_int32 element);

/** How many elements the field of a structure has, and of which type they are. */
u_int32 capacity_of(const ptp_cfg_type *structure, std::string_view field, const ptp_cfg_type **element);

}  // namespace ptp_agent
