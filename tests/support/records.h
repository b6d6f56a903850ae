// What the tests of this folder share: plain handles that report leaks, and records of any type by reflection.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "recording_handle.h"

namespace ptp_cfg_test {

constexpr u_int32 mem_class = test_class;
using octets = std::vector<u_int8>;

/** A domain that speaks `level` of every structure and enumeration, or its latest variant where that is lower. */
class level_domain {
  public:
    explicit level_domain(int8 level);
    vela_domain *get() const { return domain_.get(); }

  private:
    std::unique_ptr<vela_domain, decltype(&vela_domain_destroy)> domain_;
};

struct handle_settings {
    u_int32 tracking = 0;
    bool shared = false;
    const vela_domain *domain = nullptr;
    vela_pre_write_fn pre_write = nullptr;
    u_int32 work_buffer = 0;
};

/** A handle with the default allocator and without hooks; what is left in it at its end is a failure. */
class test_handle {
  public:
    explicit test_handle(const handle_settings &settings = {});
    test_handle(const test_handle &) = delete;
    test_handle &operator=(const test_handle &) = delete;
    ~test_handle();

    operator vela_handle *() const { return handle_; }
    vela_handle *operator->() const { return handle_; }
    /** Some operations leave a failed instance with the handle. */
    void expect_blocks_left(u_int64 blocks) { expected_blocks_ = blocks; }

  private:
    vela_handle *handle_;
    u_int64 expected_blocks_ = 0;
};

/** An instance that its typed destroy returns. */
template <class T>
owned<T> hold(vela_handle *handle, T *instance, void (*destroy)(vela_handle *, u_int32, T *)) {
    EXPECT_NE(instance, nullptr);
    return {instance, {handle, destroy}};
}

/** A type of the library. */
struct record_type {
    explicit record_type(const ptp_cfg_type *type);
    explicit record_type(const char *name) : record_type(type_named(name)) {}
    /** The same, looked up once. */
    static const record_type &of(const ptp_cfg_type *type);

    const ptp_cfg_type *type;
    ptp_cfg_type_description about = {};
    const ptp_cfg_operations *operations;
    std::vector<ptp_cfg_field_description> fields;

    owned<void> create(vela_handle *handle) const;
    /** The encoding, after checks of its length and of what lies beyond it. */
    octets marshal(vela_handle *handle, const void *instance) const;
    /** Decodes all of `bytes`; an error is a failure. */
    owned<void> unmarshal(vela_handle *handle, const octets &bytes) const;
    std::string to_xml(vela_handle *handle, const void *instance) const;
    bool has_text() const;
};

std::vector<record_type> record_types(ptp_cfg_type_kind kind);

/** A value that is not made of others: a field, or an element of one, and the structure it is in. */
struct leaf {
    const record_type &owner;
    void *instance;
    u_int32 index;
    u_int32 element;
    const ptp_cfg_field_description &field() const { return owner.fields[index]; }
};
/** Visits what a structure or message of its variant holds, in the order of declaration, text lengths left out. */
void for_each_leaf(const record_type &type, vela_handle *handle, void *instance,
                   const std::function<void(const leaf &)> &visit);

enum class filling { minimum, maximum, random };

/** Gives every leaf of a structure or message a value; random ones differ from the defaults and from their like. */
void fill(const record_type &type, vela_handle *handle, void *instance, filling how, u_int64 seed = 1);
void fill_leaf(vela_handle *handle, const leaf &where, filling how, u_int64 seed = 1);
/** Gives every state flag of a structure, or of a message's payloads, a number of its own. */
void set_flags(const record_type &type, vela_handle *handle, void *instance);

/** A parsed document. */
using document = std::unique_ptr<vela_xml_document, decltype(&vela_xml_destroy)>;
document parse_xml(const std::string &text);

/** Bytes from a text of hexadecimal digits, grouped by blanks as one likes. */
octets from_hex(const std::string &text);

/** Memory that ends where nothing can be read or written: an access beyond it is a fault. */
class guarded_memory {
  public:
    explicit guarded_memory(size_t size);
    guarded_memory(const guarded_memory &) = delete;
    guarded_memory &operator=(const guarded_memory &) = delete;
    ~guarded_memory();
    /** The last `count` bytes. */
    u_int8 *last(size_t count) const { return end_ - count; }

  private:
    u_int8 *start_ = nullptr;
    u_int8 *end_ = nullptr;
    size_t mapped_ = 0;
};

}  // namespace ptp_cfg_test
