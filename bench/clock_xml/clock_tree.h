// The clock record as a tree of elements, for programs that use an XML library directly.
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "harness/contender.h"
#include "records/xml.h"

namespace bench {

/** Literals of an enumeration by their number. */
using literals = std::vector<std::string>;

inline literals literals_of(const char *type) {
    literals all;
    ptp_cfg_literal literal;
    while (ptp_cfg_literal_describe(ptp_cfg_type_find(type), static_cast<u_int32>(all.size()), &literal) != 0) {
        all.emplace_back(literal.literal);
    }
    return all;
}

/** Those of the enumeration that the record's visitor names by a type. */
template <class Enumeration>
const literals &known() {
    static const literals all = literals_of(Enumeration::type);
    return all;
}

/** The number of a literal. */
inline u_int32 number_of(const literals &all, const char *literal) {
    for (u_int32 i = 0; i < all.size(); ++i) {
        if (std::strcmp(all[i].c_str(), literal) == 0) {
            return i;
        }
    }
    return 0;
}

/**
 * Takes one child after the other; a child of another name than the expected one is a fault. A library names its node,
 * which may be none, and what walking and reading take.
 */
template <class Library>
class walker {
  public:
    using node = typename Library::node;

    explicit walker(node root) : next_(Library::first_child(root)) {}

    void truth(const char *name, vela_boolean &value) { value = Library::truth(take(name)); }
    template <class T>
    void number(const char *name, T &value) {
        Library::read(take(name), value);
    }
    template <class Enumeration>
    void choice(const char *name, u_int32 &value, Enumeration) {
        value = number_of(known<Enumeration>(), Library::name(Library::first_child(take(name))));
    }
    void open(const char *name) {
        const node inner = take(name);
        outer_.push_back(next_);
        next_ = Library::first_child(inner);
    }
    void close() {
        next_ = outer_.back();
        outer_.pop_back();
    }
    bool sound() const { return sound_; }

  private:
    node take(const char *name) {
        const node taken = next_;
        sound_ = sound_ && std::strcmp(Library::name(taken), name) == 0;
        next_ = Library::next(taken);
        return taken;
    }

    node next_;
    std::vector<node> outer_;
    bool sound_ = true;
};

/** The check of functions that render and parse clocks with an XML library: the same text, and the same values. */
inline std::string xml_fault(size_t (*render)(const ptp_clock_values &, std::string &),
                             bool (*parse)(const std::string &, ptp_clock_values &)) {
    std::string text;
    render(clock_record<>::example(), text);
    if (text != xml_fixture<clock_record<>>().text) {
        return "rendered another text: " + text;
    }
    ptp_clock_values values{};
    return parse(text, values) && values == clock_record<>::example() ? "" : "other values came back";
}

inline std::vector<work> xml_works(size_t (*render)(const ptp_clock_values &, std::string &),
                                   bool (*parse)(const std::string &, ptp_clock_values &)) {
    return {{"render",
             [render](benchmark::State &state) {
                 std::string text;
                 text.reserve(16384);
                 repeat(state, [&] {
                     text.clear();
                     return render(clock_record<>::example(), text);
                 });
             }},
            {"parse", [parse](benchmark::State &state) {
                 const std::string text = xml_fixture<clock_record<>>().text;
                 ptp_clock_values values{};
                 repeat(state, [&] { return parse(text, values); });
             }}};
}

}  // namespace bench
