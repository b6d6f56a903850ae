// A runtime handle with what the command line says of it, and records that destroy themselves.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "domain.h"
#include "reflection.h"

namespace ptpcfg {

/** Options that many subcommands share. */
struct session_options {
    std::vector<std::string> domain;  // FILE, TYPE=VARIANT
    bool tracked = false;             // encode with state flags
    bool plain = false;               // what the types do not know is skipped
    bool complete = false;            // each field must be there
};

/** A record or message and the handle it belongs to. Movable; the session must outlive it. */
class record {
  public:
    record(const ptp_cfg_type *type, void *instance, vela_handle *handle);
    record(record &&other) noexcept;
    record &operator=(record &&other) = delete;
    ~record();

    const ptp_cfg_type *type() const { return type_; }
    const ptp_cfg_operations &operations() const { return *describe(type_).operations; }
    void *instance() const { return instance_; }
    vela_handle *handle() const { return handle_; }

  private:
    const ptp_cfg_type *type_;
    void *instance_;
    vela_handle *handle_;
};

/** Two handles, one per tracking mode, both under the domain that the options describe. */
class session {
  public:
    explicit session(const session_options &options);

    vela_handle *handle(bool tracked) const { return tracked ? tracking_.get() : plain_.get(); }
    /** Whether the command line asks for state flags. */
    bool tracked() const { return tracked_; }
    /** How XML is read: VELA_XML_... */
    u_int32 xml_rules() const { return xml_rules_; }
    /** How JSON is read: PTP_CFG_JSON_... */
    u_int32 json_rules() const { return json_rules_; }
    /** Whether the command line names a domain. */
    bool has_domain() const { return domain_ != nullptr; }
    /** The variant that new instances of a type get. */
    int8 variant_of(const ptp_cfg_type *type) const { return variant_under(plain_.get(), type); }
    /**
     * Takes what was read as a peer of the domain does: refuses a message that the domain forbids, with its place, and
     * leaves out fields that are newer.
     */
    void admit(const record &record, const std::string &place) const;

  private:
    struct destroy_handle {
        void operator()(vela_handle *handle) const;
    };
    std::unique_ptr<vela_handle, destroy_handle> create(u_int32 tracking) const;

    bool tracked_;
    u_int32 xml_rules_;
    u_int32 json_rules_;
    domain domain_;
    std::unique_ptr<vela_handle, destroy_handle> plain_;
    std::unique_ptr<vela_handle, destroy_handle> tracking_;
};

}  // namespace ptpcfg
