// The clock record as XML by pugixml: a document that is built and saved, or loaded and walked child by child.
#include <pugixml.hpp>

#include "clock_xml/clock_tree.h"

namespace bench {
namespace {

class builder {
  public:
    explicit builder(pugi::xml_node node) : node_(node) {}

    void truth(const char *name, vela_boolean value) { leaf(name).text().set(value != 0); }
    template <class T>
    void number(const char *name, T value) {
        if constexpr (sizeof(T) == 8) {
            leaf(name).text().set(static_cast<unsigned long long>(value));
        } else {
            leaf(name).text().set(static_cast<int>(value));
        }
    }
    template <class Enumeration>
    void choice(const char *name, u_int32 value, Enumeration) {
        leaf(name).append_child(known<Enumeration>()[value].c_str());
    }
    void open(const char *name) { node_ = leaf(name); }
    void close() { node_ = node_.parent(); }

  private:
    pugi::xml_node leaf(const char *name) { return node_.append_child(name); }

    pugi::xml_node node_;
};

struct reading {
    using node = pugi::xml_node;
    static node first_child(node of) { return of.first_child(); }
    static node next(node of) { return of.next_sibling(); }
    static const char *name(node of) { return of.name(); }
    static vela_boolean truth(node of) { return of.text().as_bool(); }
    template <class T>
    static void read(node of, T &value) {
        if constexpr (sizeof(T) == 8) {
            value = of.text().as_ullong();
        } else {
            value = static_cast<T>(of.text().as_int());
        }
    }
};

struct text_writer : pugi::xml_writer {
    explicit text_writer(std::string &to) : text(to) {}
    void write(const void *data, size_t size) override { text.append(static_cast<const char *>(data), size); }
    std::string &text;
};

size_t render(const ptp_clock_values &clock, std::string &text) {
    pugi::xml_document document;
    builder visitor(document.append_child("ptp_clock"));
    clock_record<>::visit(visitor, clock);
    text_writer writer(text);
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    return text.size();
}

bool parse(const std::string &text, ptp_clock_values &clock) {
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size())) {
        return false;
    }
    walker<reading> visitor(document.child("ptp_clock"));
    clock_record<>::visit(visitor, clock);
    return visitor.sound();
}

const contender entry(
    "clock_xml", "pugixml", [] { return xml_fault(render, parse); }, xml_works(render, parse));

}  // namespace
}  // namespace bench
