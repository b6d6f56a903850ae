// What the records of all scenarios are made with.
#pragma once

#include <string>
#include <type_traits>

#include "velalib.h"

namespace bench {

constexpr u_int32 mem_class = 0;

/** A handle; options NULL: no tracking, no hooks, latest variants. It lives as long as the program. */
vela_handle *make_handle(const vela_handle_options *options = nullptr);

/** A handle that tracks the state of fields: state flags travel, too. */
vela_handle *make_tracking_handle();

/** A handle whose domain has `type` at another variant. */
vela_handle *make_domain_handle(const char *type, int8 variant);

/** A handle that a domain and a hook of no consequence keep to the reference path. */
vela_handle *make_reference_path_handle();

/** Ends the program when a preparation failed. */
void require(bool sound, const std::string &what);

/** An instance of record R with the example's values. An error ends the program. */
template <class R>
typename R::instance *make_example(vela_handle *handle) {
    u_int32 err = 0;
    typename R::instance *instance = R::create(handle, mem_class);
    R::fill(handle, instance, R::example(), &err);
    require(err == 0, std::string("make an example for ") + R::scenario);
    return instance;
}

/** Record R's values as `read` leaves them: by value, or where they are many in memory that stands until the next call. */
template <class R, class Read>
typename R::result read_values(Read read) {
    if constexpr (std::is_reference_v<typename R::result>) {
        static typename R::values to;
        read(to);
        return to;
    } else {
        typename R::values to;
        read(to);
        return to;
    }
}

}  // namespace bench
