// What the records of all scenarios are made with.
#pragma once

#include <string>

#include "velalib.h"

namespace bench {

constexpr u_int32 mem_class = 0;

/** A handle; options NULL: no tracking, no hooks, latest variants. It lives as long as the program. */
vela_handle *make_handle(const vela_handle_options *options = nullptr);

/** A handle whose domain has `type` at another variant. */
vela_handle *make_domain_handle(const char *type, int8 variant);

/** A handle that a domain and a hook of no consequence keep to the reference path. */
vela_handle *make_reference_path_handle();

/** Ends the program when a preparation failed. */
void require(bool sound, const std::string &what);

/** An instance of record R with the values of its example. */
template <class R>
typename R::instance *make_example(vela_handle *handle) {
    u_int32 err = 0;
    typename R::instance *instance = R::create(handle, mem_class);
    R::fill(handle, instance, R::example(), &err);
    require(err == 0, "make the example of a record");
    return instance;
}

}  // namespace bench
