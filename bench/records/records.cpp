// Handles of each kind that scenarios measure, and the end of a run that cannot go on.
#include "records/records.h"

#include <cstdio>
#include <cstdlib>

namespace bench {

vela_handle *make_handle(const vela_handle_options *options) {
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(options, &err);
    require(handle != nullptr, "create a handle");
    return handle;
}

vela_handle *make_tracking_handle() {
    vela_handle_options options{};
    options.size = sizeof options;
    options.tracking = VELA_STTR_ON;
    return make_handle(&options);
}

vela_handle *make_domain_handle(const char *type, int8 variant) {
    vela_domain *domain = vela_domain_create("bench");
    require(domain != nullptr && vela_domain_set_variant(domain, type, variant) == 0, "set up a domain");
    vela_handle *handle = make_handle();
    vela_handle_set_domain(handle, domain);
    return handle;
}

vela_handle *make_reference_path_handle() {
    vela_handle *handle = make_domain_handle("no_such_type", 0);
    handle->pre_write = [](void *, void *, size_t, u_int32) {};
    return handle;
}

void require(bool sound, const std::string &what) {
    if (!sound) {
        std::fprintf(stderr, "cannot %s\n", what.c_str());
        std::exit(1);
    }
}

}  // namespace bench
