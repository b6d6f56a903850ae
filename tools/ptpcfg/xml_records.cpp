// Reads one element of XML into a record.
#include "xml_records.h"

#include "failure.h"
#include "state_flags.h"

namespace ptpcfg {
namespace {

/** A piece as a document. Its faults are told with their places in the input. */
class piece_document {
  public:
    piece_document(const std::string &name, const xml_piece &piece, u_int32 rules, fault_list &faults)
        : name_(name), piece_(piece), faults_(faults) {
        const vela_xml_options options{sizeof options, rules, add, this};
        u_int32 err = 0;
        document_ = vela_xml_parse_with(piece.text.data(), piece.text.size(), &options, &err, nullptr, 0);
        fail_without_memory(err);
        if (document_ == nullptr) {
            faults.fail_if_any();
        }
    }
    ~piece_document() { vela_xml_destroy(document_); }
    piece_document(const piece_document &) = delete;
    piece_document &operator=(const piece_document &) = delete;

    vela_xml_document *get() const { return document_; }
    u_int32 root() const { return xml_first_child(document_, 0); }
    std::string root_name() const { return xml_element_name(document_, root()); }
    bool has_faults() const { return told_ != 0; }

    std::string place(size_t line, size_t column) const {
        return name_ + ":" + std::to_string(line - 1 + piece_.line) + ":" +
               std::to_string(line == 1 ? column - 1 + piece_.column : column);
    }
    /** Where the root's name stands, behind its '<'. */
    std::string place() const { return place(1, 2); }
    void refuse(const std::string &reason) {
        ++told_;
        faults_.add(place() + ": " + root_name() + ": " + reason);
    }
    void fail_without_memory(u_int32 err) const {
        if (err == VELA_ENOMEM) {
            throw failure(exit_code::io, name_ + ": there is no memory to read it");
        }
    }

  private:
    static u_int32 add(void *self, const vela_xml_fault *fault) {
        piece_document &document = *static_cast<piece_document *>(self);
        constexpr size_t most = 1000;  // in one piece; the list shows fewer
        const bool is_xml = fault->path[0] != '\0';
        document.faults_.add(document.place(fault->line, fault->column) + ": " +
                             (is_xml ? fault->path : "not well-formed XML") + ": " + fault->reason);
        return ++document.told_ < most;
    }

    const std::string &name_;
    const xml_piece &piece_;
    fault_list &faults_;
    vela_xml_document *document_ = nullptr;
    size_t told_ = 0;
};

void check_frame(piece_document &document) {
    const char *name = nullptr;
    const char *value = nullptr;
    for (u_int32 index = 0; xml_get_attribute(document.get(), document.root(), index, &name, &value) != 0; ++index) {
        if (std::string_view(name) != "time") {
            document.refuse(std::string("unknown attribute ") + name + "; leave it out");
            return;
        }
    }
}

/** The type of the record that a document holds; nullptr after a fault. */
const ptp_cfg_type *type_of(piece_document &document, const ptp_cfg_type *wanted) {
    const std::string name = document.root_name();
    if (wanted != nullptr) {
        if (describe(wanted).short_name == name) {
            return wanted;
        }
        document.refuse("is not wanted here; <" + std::string(describe(wanted).short_name) + "> is");
        return nullptr;
    }
    const ptp_cfg_type *type = ptp_cfg_type_find(name.c_str());
    if (type != nullptr && describe(type).kind == PTP_CFG_MESSAGE && describe(type).short_name == name) {
        return type;
    }
    document.refuse("is no message; 'ptpcfg describe' lists them" +
                    (type != nullptr ? " (for a record alone use --type " + name + ")" : ""));
    return nullptr;
}

/** Reads the record; a message that is refused is a record without an instance. */
record read_record(piece_document &document, const ptp_cfg_type *type, vela_handle *handle, u_int32 *err, char *reason,
                   u_int32 room) {
    const ptp_cfg_operations &operations = *describe(type).operations;
    if (operations.from_document != nullptr) {
        return {type, operations.from_document(handle, memory_class, document.get(), err, reason, room), handle};
    }
    record result = new_record(type, handle);
    const std::string path = "/" + document.root_name();
    operations.from_xml(handle, memory_class, path.c_str(), document.get(), result.instance(), err, reason, room);
    return result;
}

}  // namespace

std::optional<record> record_from_xml(const std::string &name, const xml_piece &piece, const ptp_cfg_type *wanted,
                                      const session &session, fault_list &faults) {
    piece_document document(name, piece, session.xml_rules(), faults);
    if (piece.is_frame) {
        check_frame(document);
        return std::nullopt;
    }
    const ptp_cfg_type *type = type_of(document, wanted);
    if (type == nullptr) {
        return std::nullopt;
    }
    u_int32 err = 0;
    char reason[512] = "";
    record result = read_record(document, type, session.handle(session.tracked()), &err, reason, sizeof reason);
    document.fail_without_memory(err);
    if (err != 0 && !document.has_faults()) {  // plain reading tells no one else
        document.refuse(reason[0] != '\0' ? reason : error_text(session.handle(session.tracked()), err));
    }
    if (!faults.empty()) {
        return std::nullopt;
    }
    session.admit(result, document.place());
    if (session.tracked()) {
        set_state_flags(result, document.get(), document.root());
    }
    return result;
}

}  // namespace ptpcfg
