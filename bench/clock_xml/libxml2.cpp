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
    void choice(const char *name, u_int32 value, const literals &all) {
        xmlNewChild(xmlNewChild(node_, nullptr, xml(name), nullptr), nullptr, xml(all[value].c_str()), nullptr);
    }
    void open(const char *name) { node_ = xmlNewChild(node_, nullptr, xml(name), nullptr); }
    void close() { node_ = node_->parent; }

  private:
    xmlNodePtr node_;
};

/** Takes one child after the other; a child of another name than the expected one is a fault. */
class walker {
  public:
    explicit walker(xmlNodePtr node) : next_(node->children) {}

    void truth(const char *name, vela_boolean &value) {
        const char *text = text_of(take(name));
        value = std::strcmp(text, "true") == 0 || std::strcmp(text, "1") == 0;
    }
    template <class T>
    void number(const char *name, T &value) {
        const char *text = text_of(take(name));
        if constexpr (std::is_signed_v<T>) {
            value = static_cast<T>(std::strtoll(text, nullptr, 10));
        } else {
            value = static_cast<T>(std::strtoull(text, nullptr, 10));
        }
    }
    void choice(const char *name, u_int32 &value, const literals &all) {
        const xmlNode *node = take(name);
        value = node == nullptr || node->children == nullptr ? 0 : number_of(all, name_of(node->children));
    }
    void open(const char *name) {
        const xmlNode *node = take(name);
        outer_.push_back(next_);
        next_ = node == nullptr ? nullptr : node->children;
    }
    void close() {
        next_ = outer_.back();
        outer_.pop_back();
    }
    bool sound() const { return sound_; }

  private:
    static const char *name_of(const xmlNode *node) { return reinterpret_cast<const char *>(node->name); }
    static const char *text_of(const xmlNode *node) {
        const bool has_text = node != nullptr && node->children != nullptr && node->children->content != nullptr;
        return has_text ? reinterpret_cast<const char *>(node->children->content) : "";
    }
    const xmlNode *take(const char *name) {
        const xmlNode *node = next_;
        sound_ = sound_ && node != nullptr && std::strcmp(name_of(node), name) == 0;
        next_ = node == nullptr ? nullptr : node->next;
        return node;
    }

    xmlNodePtr next_;
    std::vector<xmlNodePtr> outer_;
    bool sound_ = true;
};

size_t render(const clock_values &clock, std::string &text) {
    xmlDocPtr document = xmlNewDoc(xml("1.0"));
    xmlNodePtr root = xmlNewNode(nullptr, xml("ptp_clock"));
    xmlDocSetRootElement(document, root);
    builder visitor(root);
    visit_clock(visitor, clock);
    xmlBufferPtr buffer = xmlBufferCreateSize(8192);
    xmlNodeDump(buffer, document, root, 0, 0);
    text.append(reinterpret_cast<const char *>(xmlBufferContent(buffer)), static_cast<size_t>(xmlBufferLength(buffer)));
    xmlBufferFree(buffer);
    xmlFreeDoc(document);
    return text.size();
}

bool parse(const std::string &text, clock_values &clock) {
    xmlDocPtr document = xmlReadMemory(text.data(), static_cast<int>(text.size()), nullptr, nullptr,
                                       XML_PARSE_NONET | XML_PARSE_COMPACT);
    if (document == nullptr) {
        return false;
    }
    walker visitor(xmlDocGetRootElement(document));
    visit_clock(visitor, clock);
    xmlFreeDoc(document);
    return visitor.sound();
}

const contender entry(
    "clock_xml", "libxml2", [] { return xml_fault(render, parse); }, xml_works(render, parse));

}  // namespace
}  // namespace bench
