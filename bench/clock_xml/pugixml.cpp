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
    void choice(const char *name, u_int32 value, const literals &all) { leaf(name).append_child(all[value].c_str()); }
    void open(const char *name) { node_ = leaf(name); }
    void close() { node_ = node_.parent(); }

  private:
    pugi::xml_node leaf(const char *name) { return node_.append_child(name); }

    pugi::xml_node node_;
};

/** Takes one child after the other; a child of another name than the expected one is a fault. */
class walker {
  public:
    explicit walker(pugi::xml_node node) : next_(node.first_child()) {}

    void truth(const char *name, vela_boolean &value) { value = take(name).text().as_bool(); }
    template <class T>
    void number(const char *name, T &value) {
        if constexpr (sizeof(T) == 8) {
            value = take(name).text().as_ullong();
        } else {
            value = static_cast<T>(take(name).text().as_int());
        }
    }
    void choice(const char *name, u_int32 &value, const literals &all) {
        value = number_of(all, take(name).first_child().name());
    }
    void open(const char *name) {
        const pugi::xml_node node = take(name);
        outer_.push_back(next_);
        next_ = node.first_child();
    }
    void close() {
        next_ = outer_.back();
        outer_.pop_back();
    }
    bool sound() const { return sound_; }

  private:
    pugi::xml_node take(const char *name) {
        const pugi::xml_node node = next_;
        sound_ = sound_ && std::strcmp(node.name(), name) == 0;
        next_ = node.next_sibling();
        return node;
    }

    pugi::xml_node next_;
    std::vector<pugi::xml_node> outer_;
    bool sound_ = true;
};

struct text_writer : pugi::xml_writer {
    explicit text_writer(std::string &to) : text(to) {}
    void write(const void *data, size_t size) override { text.append(static_cast<const char *>(data), size); }
    std::string &text;
};

size_t render(const clock_values &clock, std::string &text) {
    pugi::xml_document document;
    builder visitor(document.append_child("ptp_clock"));
    visit_clock(visitor, clock);
    text_writer writer(text);
    document.save(writer, "", pugi::format_raw | pugi::format_no_declaration);
    return text.size();
}

bool parse(const std::string &text, clock_values &clock) {
    pugi::xml_document document;
    if (!document.load_buffer(text.data(), text.size())) {
        return false;
    }
    walker visitor(document.child("ptp_clock"));
    visit_clock(visitor, clock);
    return visitor.sound();
}

const contender entry(
    "clock_xml", "pugixml", [] { return xml_fault(render, parse); }, xml_works(render, parse));

}  // namespace
}  // namespace bench
