// The domain that --domain describes: what the peer at the other end knows.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "reflection.h"

namespace ptpcfg {

struct destroy_domain {
    void operator()(vela_domain *domain) const { vela_domain_destroy(domain); }
};
using domain = std::unique_ptr<vela_domain, destroy_domain>;

/**
 * Makes a domain of at most one FILE and any number of TYPE=VARIANT, which hold over the file. Without any it is
 * null: the peer knows everything.
 */
domain domain_from(const std::vector<std::string> &options);

/** The variant that a handle's domain uses for a structure or enumeration. */
int8 variant_under(vela_handle *handle, const ptp_cfg_type *type);

/** Whether a handle's domain allows a message. */
bool is_allowed(vela_handle *handle, const ptp_cfg_type *message);

/**
 * Makes an instance what a peer of the handle's domain would have got: fields that it does not know are gone, here and
 * in all that lies within. Enumerations keep their value, as there.
 */
void leave_out_newer(vela_handle *handle, const ptp_cfg_type *type, void *instance);

}  // namespace ptpcfg
