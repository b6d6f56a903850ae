/**
 * What fuzz targets are made of: their input, well-formed inputs for the corpus, handles, and how they fail.
 *
 * A target is a row in targets.cpp. An input begins with what it chooses (a type, a kind of handle, what is done), an
 * octet each; the rest is what a stranger sends. Types come from reflection, so that a new one is fuzzed with no other
 * line.
 */
#pragma once

#include <cstddef>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "ptp_cfg/reflect.h"

namespace fuzz {

using octets = std::vector<u_int8>;
constexpr u_int32 mem_class = 3;

/** Bytes that are read from their begin; what is not there is 0. */
class input {
  public:
    explicit input(std::span<const u_int8> bytes) : left_(bytes) {}
    u_int8 octet() {
        const std::span<const u_int8> one = take(1);
        return one.empty() ? u_int8{0} : one[0];
    }
    u_int32 word() { return octet() | static_cast<u_int32>(octet()) << 8; }
    /** As many as there are, at most `most`. */
    std::span<const u_int8> take(size_t most) {
        const std::span<const u_int8> taken = left_.first(most < left_.size() ? most : left_.size());
        left_ = left_.subspan(taken.size());
        return taken;
    }
    std::span<const u_int8> rest() { return take(left_.size()); }
    std::string text() {
        const std::span<const u_int8> all = rest();
        return {reinterpret_cast<const char *>(all.data()), all.size()};
    }
    bool is_empty() const { return left_.empty(); }

  private:
    std::span<const u_int8> left_;
};

struct target {
    const char *name;
    void (*run)(input in);
    octets (*make)(u_int64 number);  ///< a well-formed input, another for each number
    u_int64 seeds;                   ///< how many of them the corpus begins with
    bool is_text;                    ///< names of fields and literals are worth putting into it
};

/** All targets. */
extern const std::span<const target> targets;
const target *find_target(const std::string &name);

// ---- outcomes --------------------------------------------------------------------------------------------------------

/** Ends the process as a finding. */
[[noreturn]] void fail(const std::string &what);
inline void require(bool holds, const char *what, const char *of = "") {
    if (!holds) {
        fail(std::string(of) + ": " + what);
    }
}
/** Counts an execution over a type, and whether the bytes were taken. */
void count_execution(const ptp_cfg_type *type, bool is_accepted);
/** Writes a line for each type: executions, accepted ones, name. */
void write_counts(const char *path);

// ---- types -----------------------------------------------------------------------------------------------------------

const ptp_cfg_type_description &describe(const ptp_cfg_type *type);
/** What may travel alone: structures and enumerations, or messages. */
const std::vector<const ptp_cfg_type *> &records();
const std::vector<const ptp_cfg_type *> &messages();
inline bool is_message(const ptp_cfg_type *type) { return describe(type).kind == PTP_CFG_MESSAGE; }

// ---- handles ---------------------------------------------------------------------------------------------------------

/** What the bits of an octet choose for a handle. */
struct handle_kind {
    u_int32 tracking = 0;    ///< 0, VELA_STTR_OFF or VELA_STTR_ON
    int domain = -1;         ///< the variant that all types have at most; -1: no domain
    bool is_shared = false;  ///< type information of the handle's own
    bool has_hooks = false;
    bool has_allocator = false;  ///< the program's, not the runtime's

    explicit handle_kind(u_int8 bits);
    /** The same as far as a peer can tell, but for the reference path, which a hook beside a domain asks for. */
    handle_kind on_reference_path() const;
};

/** The handle of a kind, which the process keeps. */
vela_handle *handle_of(const handle_kind &kind);
/** A handle for one input, which takes along what a call is documented to leave with it. */
class temporary_handle {
  public:
    explicit temporary_handle(handle_kind kind);
    temporary_handle(const temporary_handle &) = delete;
    temporary_handle &operator=(const temporary_handle &) = delete;
    ~temporary_handle();
    operator vela_handle *() const { return handle_; }

  private:
    vela_handle *handle_;
};
/** Fails when an instance or a text is still allocated. */
void require_nothing_left(vela_handle *handle, const char *after);

// ---- instances -------------------------------------------------------------------------------------------------------

/** An instance of any type, which it destroys. */
class instance {
  public:
    instance(vela_handle *handle, const ptp_cfg_type *type);
    /** Takes over what a call made; may be nullptr. */
    instance(vela_handle *handle, const ptp_cfg_type *type, void *made) : handle_(handle), type_(type), it_(made) {}
    instance(const instance &) = delete;
    instance &operator=(const instance &) = delete;
    ~instance();
    void *get() const { return it_; }
    void *release();
    /** Holds what a call made, in place of nothing. */
    void take_over(void *made) { it_ = made; }
    vela_handle *handle() const { return handle_; }
    const ptp_cfg_type *type() const { return type_; }
    const ptp_cfg_operations &calls() const { return *describe(type_).operations; }

  private:
    vela_handle *handle_;
    const ptp_cfg_type *type_;
    void *it_;
};

using random_source = std::minstd_rand;
/** Gives every field a value by chance, and state flags where there are some. */
void fill(const instance &it, random_source &random);

struct encoding {
    u_int32 err = 0;
    octets bytes;
    bool operator==(const encoding &) const = default;
};
/** Marshals into memory of exactly the room that marshal may use. */
encoding encode(const instance &it, u_int32 room);
encoding encode(const instance &it);
/** The encoding of a filled instance. */
octets encoding_of(const ptp_cfg_type *type, u_int64 number, u_int8 kind_bits);

}  // namespace fuzz
