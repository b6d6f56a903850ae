// The clock record as XML by libxml2: a tree that is built and dumped, or read and walked child by child.
#include <libxml/parser.h>
#include <libxml/tree.h>

#include "clock_xml/clock_tree.h"

namespace bench {
namespace {

const xmlChar *xml(const char *text) { return reinterpret_cast<const xmlChar *>(text); }

class builder {
  public:
    explicit builder(xmlNodePtr node) : node_(node) {}

    void truth(const char *name, vela_boolean value) {
        xmlNewTextChild(node_, nullptr, xml(name), xml(value != 0 ? "true" : "false"));
    }
    template <class T>
    void number(const char *name, T value) {
        char text[24];
        if constexpr (std::is_signed_v<T>) {
            std::snprintf(text, sizeof text, "%lld", static_cast<long long>(value));
        } else {
            std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(value));
        }
        xmlNewTextChild(node_, nullptr, xml(name), xml(text));
    }
    template <class Enumeration>
    void choice(const char *name, u_int32 value, Enumeration) {
        xmlNewChild(xmlNewChild(node_, nullptr, xml(name), nullptr), nullptr, xml(known<Enumeration>()[value].c_str()),
                    nullptr);
    }
    void open(const char *name) { node_ = xmlNewChild(node_, nullptr, xml(name), nullptr); }
    void close() { node_ = node_->parent; }

  private:
    xmlNodePtr node_;
};

struct reading {
    using node = const xmlNode *;
    static node first_child(node of) { return of == nullptr ? nullptr : of->children; }
    static node next(node of) { return of == nullptr ? nullptr : of->next; }
    static const char *name(node of) { return of == nullptr ? "" : reinterpret_cast<const char *>(of->name); }
    static const char *text(node of) {
        const bool has_text = of != nullptr && of->children != nullptr && of->children->content != nullptr;
        return has_text ? reinterpret_cast<const char *>(of->children->content) : "";
    }
    static vela_boolean truth(node of) { return std::strcmp(text(of), "true") == 0 || std::strcmp(text(of), "1") == 0; }
    template <class T>
    static void read(node of, T &value) {
        if constexpr (std::is_signed_v<T>) {
            value = static_cast<T>(std::strtoll(text(of), nullptr, 10));
        } else {
            value = static_cast<T>(std::strtoull(text(of), nullptr, 10));
        }
    }
};

size_t render(const ptp_clock_values &clock, std::string &text) {
    xmlDocPtr document = xmlNewDoc(xml("1.0"));
    xmlNodePtr root = xmlNewNode(nullptr, xml("ptp_clock"));
    xmlDocSetRootElement(document, root);
    builder visitor(root);
    clock_record<>::visit(visitor, clock);
    xmlBufferPtr buffer = xmlBufferCreateSize(8192);
    xmlNodeDump(buffer, document, root, 0, 0);
    text.append(reinterpret_cast<const char *>(xmlBufferContent(buffer)), static_cast<size_t>(xmlBufferLength(buffer)));
    xmlBufferFree(buffer);
    xmlFreeDoc(document);
    return text.size();
}

bool parse(const std::string &text, ptp_clock_values &clock) {
    xmlDocPtr document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                       XML_PARSE_NONET | XML_PARSE_COMPACT);
    if (document == nullptr) {
        return false;
    }
    walker<reading> visitor(xmlDocGetRootElement(document));
    clock_record<>::visit(visitor, clock);
    xmlFreeDoc(document);
    return visitor.sound();
}

const contender entry(
    "clock_xml", "libxml2", [] { return xml_fault(render, parse); }, xml_works(render, parse));

}  // namespace
}  // namespace bench
