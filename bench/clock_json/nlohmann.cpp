// The clock record as JSON by nlohmann-json: a tree that is built and dumped, or parsed and looked up by name.
#include <nlohmann/json.hpp>

#include "clock_json/clock_text.h"

namespace bench {
namespace {

using json = nlohmann::ordered_json;

constexpr const char *identity = "clk_id";  // eight octets in one string

class json_builder {
  public:
    explicit json_builder(json &root) : path_{&root} {}

    void truth(const char *name, vela_boolean value) { here()[name] = value != 0; }
    template <class T>
    void number(const char *name, T value) {
        if constexpr (sizeof(T) == 8) {
            here()[name] = std::to_string(value);
        } else if (octets_ != nullptr) {
            char digits[4];
            std::snprintf(digits, sizeof digits, octets_->empty() ? "%02X" : "-%02X", static_cast<unsigned>(value));
            *octets_ += digits;
        } else {
            here()[name] = value;
        }
    }
    template <class Enumeration>
    void choice(const char *name, u_int32 value, Enumeration) {
        here()[name] = known<Enumeration>()[value];
    }
    void open(const char *name) {
        json &opened = here()[name];
        if (std::strcmp(name, identity) == 0) {
            opened = "";
            octets_ = &opened.get_ref<std::string &>();
        }
        path_.push_back(&opened);
    }
    void close() {
        path_.pop_back();
        octets_ = nullptr;
    }

  private:
    json &here() { return *path_.back(); }

    std::vector<json *> path_;
    std::string *octets_ = nullptr;
};

class json_walker {
  public:
    explicit json_walker(const json &root) : path_{&root} {}

    void truth(const char *name, vela_boolean &value) { value = here().at(name).get<bool>() ? 1 : 0; }
    template <class T>
    void number(const char *name, T &value) {
        if constexpr (sizeof(T) == 8) {
            value = std::stoull(here().at(name).get_ref<const std::string &>());
        } else if (octet_ != nullptr) {
            value = static_cast<T>(std::strtoul(octet_, nullptr, 16));
            octet_ += 3;
        } else {
            value = here().at(name).get<T>();
        }
    }
    template <class Enumeration>
    void choice(const char *name, u_int32 &value, Enumeration) {
        value = number_of(known<Enumeration>(), here().at(name).get_ref<const std::string &>().c_str());
    }
    void open(const char *name) {
        path_.push_back(&here().at(name));
        octet_ = here().is_string() ? here().get_ref<const std::string &>().c_str() : nullptr;
    }
    void close() {
        path_.pop_back();
        octet_ = nullptr;
    }

  private:
    const json &here() const { return *path_.back(); }

    std::vector<const json *> path_;
    const char *octet_ = nullptr;
};

std::string render() {
    json root = json::object();
    json_builder visitor(root);
    clock_record<>::visit(visitor, clock_record<>::example());
    return root.dump();
}

ptp_clock_values parse(const std::string &text) {
    const json root = json::parse(text);
    ptp_clock_values clock{};
    json_walker visitor(root);
    clock_record<>::visit(visitor, clock);
    return clock;
}

std::string check() {
    if (render() != library_json()) {
        return "rendered another text: " + render();
    }
    return parse(library_json()) == clock_record<>::example() ? "" : "other values came back";
}

const contender entry("clock_json", "nlohmann-json", check,
                      {{"render", [](benchmark::State &state) { repeat(state, [] { return render(); }); }},
                       {"parse", [](benchmark::State &state) {
                            const std::string text = library_json();
                            repeat(state, [&] { return parse(text); });
                        }}});

}  // namespace
}  // namespace bench
