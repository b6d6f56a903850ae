// A handle that writes down what the library asks of it, and expectations over those notes.
#pragma once

#include <gtest/gtest.h>

#include <compare>
#include <functional>
#include <initializer_list>
#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bitlog.h"
#include "ptp_cfg/reflect.h"

namespace ptp_cfg_test {

/** Memory classes of the plain and of the chained operations; every hook must receive the right one. */
constexpr u_int32 test_class = 7;
constexpr u_int32 chained_class = 9;

/** Bytes of an instance, from its start. */
struct range {
    size_t offset;
    size_t length;
    auto operator<=>(const range &) const = default;
};
std::ostream &operator<<(std::ostream &out, const range &bytes);

/** One traced message. */
struct traced {
    std::string subject;  // type that traced it, for example "ptp_clock"
    u_int32 position;     // of the text in the list of the type's kind
    u_int32 level;
    std::string text;  // with the arguments put in
};

/** One call of the counter hook. */
struct counted {
    const u_int64 *counter;
    u_int64 before;  // value when the hook was called
    size_t length;
    size_t traces;  // seen by then and not yet expected
};

/** Which hooks a handle has besides its allocator. The library takes shorter ways where there are none. */
struct hook_set {
    const char *name;
    bool writes;
    bool counters;
};
inline void PrintTo(const hook_set &hooks, std::ostream *out) { *out << hooks.name; }
constexpr hook_set all_hooks = {"AllHooks", true, true};
constexpr hook_set no_hooks = {"NoHooks", false, false};
constexpr hook_set write_hook = {"WriteHook", true, false};
constexpr hook_set counter_hook = {"CounterHook", false, true};

template <class T>
struct destroyer {
    vela_handle *handle;
    void (*destroy)(vela_handle *, u_int32, T *);
    void operator()(T *instance) const { destroy(handle, test_class, instance); }
};
/** An instance that is destroyed at the end of its scope. */
template <class T>
using owned = std::unique_ptr<T, destroyer<T>>;

/** Name of a test that is repeated on handles with different hooks. */
inline std::string name_of_hooks(const testing::TestParamInfo<hook_set> &info) { return info.param.name; }

/**
 * A fixture around one handle. At the end of a test no block may be out, no trace and no error unseen.
 *
 * Memory is filled with 0xA5 before it is handed out, so that what the library forgets to zero shows.
 */
class family_test : public testing::Test {
  public:
    ~family_test() override;

  protected:
    family_test();
    void TearDown() override;

    // ---- the handle ----

    /**
     * Makes the handle anew with these hooks. Without pre_write nothing is expected to be announced; without a counter
     * hook the counters of static records are looked at.
     */
    void use_hooks(const hook_set &wanted);
    /** Makes the handle anew: tracking 0, VELA_STTR_OFF or VELA_STTR_ON. */
    void open(u_int32 tracking, u_int32 shared_type_info = 0, const vela_domain *domain = nullptr);
    /** Changes the tracking mode under living instances. The handle must have been opened with one. */
    void set_mode(u_int32 mode) { handle->sttr_record->mode = mode; }
    /** Uses the chained memory class from now on: hooks must receive it. */
    void chain() { expected_class = chained_class; }

    template <class T>
    owned<T> own(T *instance, void (*destroy)(vela_handle *, u_int32, T *)) {
        EXPECT_NE(instance, nullptr);
        return {instance, {handle, destroy}};
    }
    /** Creates an instance of a type that only reflection knows. */
    owned<void> create(const ptp_cfg_type *type);

    // ---- memory ----

    /** Lets the n-th allocation from now fail, from 1; 0: none. */
    void fail_allocation(int n) { allocations_until_failure = n; }
    size_t blocks_out() const { return blocks.size(); }
    /** Size that a living block was asked for with; 0 for another address. */
    size_t block_size(const void *block) const;

    // ---- announcements ----

    /** Follows the bytes of an instance from now on, and forgets what was noted of that address before. */
    void watch(void *instance, size_t size);
    /** Follows every block from its allocation, as if it had been zeroed without announcement. */
    void watch_new_blocks() { watching_new_blocks = true; }
    /**
     * Expects what pre_write was told of a watched instance since the last call, in order, and that each byte that
     * changed had just been announced. `silent` are where bytes are expected to change without that.
     */
    void expect_notified(const void *instance, const std::vector<range> &wanted, const std::vector<range> &silent = {});
    /** What pre_write was told of a watched instance since the last call; each change had to be covered. */
    std::vector<range> take_notified(const void *instance);
    /** Expects that nothing was announced anywhere, and that no watched byte changed. */
    void expect_untouched();
    /** Announcements so far of bytes that are not watched. */
    size_t notified_elsewhere = 0;

    // ---- errors, traces, counters ----

    /** Expects an error in `err` and in the handle, and clears both. An epoch error is marked as one. */
    void expect_error(u_int32 code, bool epoch = false);
    void expect_epoch_error() { expect_error(VELA_EEPOCH, true); }
    /** Expects an error of a chained call, and clears it. */
    void expect_chained_error(u_int32 code);
    void expect_ok();
    /** Expects the oldest trace that has not been seen yet; a position below 0 is not looked at. */
    void expect_trace(const std::string &subject, u_int32 level, const std::string &text, int position = -1);
    void expect_no_trace();
    /** Expects one call of the counter hook, for a counter that has gone up by one since. */
    void expect_counted(const u_int64 *counter);
    /** The same, and that one trace came before: what is odd about an instance is told before it is counted. */
    void expect_counted_after_a_trace(const u_int64 *counter);
    /** Expects that no counter moved since the last expectation. */
    void expect_none_counted();
    void forget_counted();
    /** Steps of all counters that have not been expected yet. */
    u_int64 steps_counted() const;

    vela_handle *handle = nullptr;
    u_int32 err = 0;
    u_int32 expected_class = test_class;
    /** The first word that the block released last held then: an instance's type pointer. */
    const void *first_word_released = nullptr;
    /** Where to leave the address of the counter announced last, for those who watch a process die; or nullptr. */
    const void **last_counted = nullptr;
    std::vector<traced> traces;
    std::vector<std::string> refused;  // traces of calls that found the error word set; tests need not look at them
    std::vector<counted> counters;
    hook_set hooks = all_hooks;

  private:
    struct watched {
        u_int8 *address;
        std::vector<u_int8> last;      // content at the last settlement
        std::vector<bool> may_change;  // what the last announcement covered
        std::vector<range> announced;  // since the last expectation
        std::vector<bool> silent;      // changed without announcement
        bool alive;
    };

    static void *allocate(void *cookie, u_int32 mem_class, size_t size);
    static void release(void *cookie, u_int32 mem_class, void *memory);
    static void before_write(void *cookie, void *address, size_t length, u_int32 mem_class);
    static void before_count(void *cookie, void *address, size_t length, u_int32 mem_class);
    static void receive_trace(void *cookie, const bitlog_record *record);
    void settle(watched &region);
    watched *find(const void *instance);
    void close();

    std::map<const void *, size_t> blocks;
    std::map<const u_int64 *, u_int64> expected_counters;  // of static records; without a counter hook
    std::vector<watched> regions;
    int allocations_until_failure = 0;
    bool watching_new_blocks = false;
};

/** Byte `offset` of an instance. */
inline u_int8 &byte_at(void *instance, size_t offset) { return static_cast<u_int8 *>(instance)[offset]; }
inline const vela_instance_header &header(const void *instance) {
    return *static_cast<const vela_instance_header *>(instance);
}
inline vela_instance_header &header(void *instance) { return *static_cast<vela_instance_header *>(instance); }
/** Distance of a field from the start of its instance. */
inline size_t distance(const void *instance, const void *field) {
    return static_cast<size_t>(static_cast<const u_int8 *>(field) - static_cast<const u_int8 *>(instance));
}

ptp_cfg_type_description describe(const ptp_cfg_type *type);
ptp_cfg_field_description describe_field(const ptp_cfg_type *type, u_int32 index);
/** The record of a type that all handles without records of their own share. */
vela_type_info &static_record(const ptp_cfg_type *type);
/** Calls visit for an instance and every enumeration and structure in it, the outermost first. */
void for_each_header(const ptp_cfg_type *type, vela_handle *handle, void *instance,
                     const std::function<void(const ptp_cfg_type *, void *)> &visit);
/** All types of a kind, in the library's order. */
std::vector<const ptp_cfg_type *> types_of(ptp_cfg_type_kind kind);
/** A type that must exist. */
const ptp_cfg_type *type_named(const char *name);

/** A domain that overrides the variants of some types. */
class old_domain {
  public:
    explicit old_domain(std::initializer_list<std::pair<const char *, int8>> variants);
    ~old_domain() { vela_domain_destroy(domain_); }
    old_domain(const old_domain &) = delete;
    old_domain &operator=(const old_domain &) = delete;
    operator const vela_domain *() const { return domain_; }
    void set(const char *type, int8 variant);

  private:
    vela_domain *domain_;
};

}  // namespace ptp_cfg_test
