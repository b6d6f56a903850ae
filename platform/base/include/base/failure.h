// Why something failed, and how the functions of a C interface pass that on.
#pragma once

#include <errno.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <memory>
#include <new>
#include <string>

namespace base {

struct failure {
    uint32_t code = 0;  // an error word, which for the system's errors is errno; 0: none
    std::string text;   // a sentence for people
};

/** "WHAT: REASON" of an errno. */
inline failure system_failure(int code, const std::string &what) {
    return {static_cast<uint32_t>(code), what + ": " + strerror(code)};
}

/**
 * Makes what a function of a C interface hands out, unless *err is set: `make(why)` gives a std::unique_ptr, which is
 * null after a failure. An exception for want of memory is one.
 * @param err         receives the code of the failure
 * @param error_text  receives what there is to say, also of what was made; may be null
 * @param no_memory   what is said when memory was short
 */
template <typename maker>
auto *make_or_fail(uint32_t *err, char *error_text, size_t room, const char *no_memory, maker make) {
    failure why;
    decltype(make(why)) made;
    if (*err != 0) {
        return made.release();
    }
    try {
        made = make(why);
    } catch (const std::bad_alloc &) {
        why = {ENOMEM, {}};
    }
    *err = made == nullptr ? why.code : 0;
    const char *text = *err == ENOMEM && why.text.empty() ? no_memory : why.text.c_str();
    if (text[0] != '\0' && error_text != nullptr && room > 0) {
        snprintf(error_text, room, "%s", text);
    }
    return made.release();
}

/** The result of a call that gives a number, unless *err is set; 0, with ENOMEM in *err, when memory was short. */
template <typename callee>
uint32_t call_or_fail(uint32_t *err, callee call) {
    if (*err != 0) {
        return 0;
    }
    try {
        return static_cast<uint32_t>(call());
    } catch (const std::bad_alloc &) {
        *err = ENOMEM;
        return 0;
    }
}

}  // namespace base
