// Records read by the accessors' inline forms.
#define BENCH_INLINE_FORMS
#include "bench_records.h"
#include "instructions/count.h"

namespace bench {
namespace {

template <class R>
void count_read(const std::string &name) {
    vela_handle *handle = make_handle();
    typename R::instance *record = make_example<R>(handle);
    u_int32 err = 0;
    count(name + " read by inline forms", [&] {
        const auto &values = R::read(handle, record, &err);
        asm volatile("" : : "r"(&values) : "memory");  // somebody looks at them
    });
    require(err == 0, "read " + name);
}

}  // namespace

void count_inline_forms() {
    count_read<clock_record<>>("clock");
    count_read<stream_statistics<>>("statistics");
    count_read<stream_list<>>("list");
}

}  // namespace bench
