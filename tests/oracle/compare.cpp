// Compares the library with the oracle: every vector is stored field by field, encoded, decoded and encoded again.
// vectors.py describes the file.

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iomanip>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ptp_cfg/reflect.h"
#include "vector_file.h"
#include "wire_paths.h"

namespace {

using namespace oracle_test;
constexpr u_int32 mem_class = 7;
constexpr u_int32 whole_array = 0xFFFFFFFF;

ptp_cfg_type_description describe(const ptp_cfg_type *type) {
    ptp_cfg_type_description description = {};
    description.size = sizeof description;
    ptp_cfg_type_describe(type, &description);
    return description;
}

// A field of an instance that a path names, and which of its elements.
struct place {
    const ptp_cfg_type *owner;
    void *instance;
    u_int32 index;
    u_int32 element;
    ptp_cfg_field_description field;
};

// One vector's handle, and the operations on instances of its type.
class subject {
  public:
    // With `reference_path`, a domain and a hook that change nothing keep the library off its unrolled path.
    subject(const test_vector &vector, bool reference_path)
        : vector_(vector), type_(ptp_cfg_type_find(vector.name.c_str())), domain_(nullptr, &vela_domain_destroy) {
        if (type_ == nullptr) {
            throw std::runtime_error("the library has no such type");
        }
        about_ = describe(type_);
        vela_handle_options options = {};
        options.size = sizeof options;
        options.tracking = vector.tracked ? VELA_STTR_ON : VELA_STTR_OFF;
        options.msg_header_word = vector.word;
        auto domain = vector.domain;
        if (reference_path) {
            domain.emplace_back(vector.name, about_.newest_variant);
            options.pre_write = [](void *, void *, size_t, u_int32) {};
        }
        if (!domain.empty()) {
            domain_.reset(vela_domain_create("oracle"));
        }
        for (const auto &[name, variant] : domain) {
            EXPECT_EQ(vela_domain_set_variant(domain_.get(), name.c_str(), static_cast<int8>(variant)), 0u);
        }
        options.domain = domain_.get();
        u_int32 err = 0;
        handle_ = vela_handle_create(&options, &err);
        if (handle_ == nullptr) {
            throw std::runtime_error("no handle");
        }
    }
    subject(const subject &) = delete;
    subject &operator=(const subject &) = delete;
    ~subject() {
        vela_handle_report report = {};
        vela_handle_destroy(handle_, &report);
        EXPECT_EQ(report.blocks, 0u) << "instances or texts were left behind";
    }

    using instance_ptr = std::unique_ptr<void, std::function<void(void *)>>;
    instance_ptr own(void *instance) {
        if (instance == nullptr) {
            throw std::runtime_error("no instance");
        }
        return {instance, [this](void *it) { about_.operations->destroy(handle_, mem_class, it); }};
    }
    instance_ptr create() { return own(about_.operations->create(handle_, mem_class)); }

    instance_ptr create_filled() {
        if (vector_.shallow) {
            return own(about_.operations->create_shallow(handle_, mem_class));
        }
        instance_ptr result = create();
        for (const auto &[path, value] : vector_.values) {
            std::istringstream in(value);
            set(result.get(), path, in);
        }
        for (const auto &[path, flag] : vector_.flags) {
            const place at = resolve(result.get(), path);
            ptp_cfg_field_state_flag_set(at.owner, at.index, handle_, mem_class, at.instance, at.element, flag, &err_);
            check(path);
        }
        for (const std::string &path : vector_.extra_data) {
            void *at = path == "." ? result.get() : storage(resolve(result.get(), path));
            static_cast<vela_instance_header *>(at)->flags |= VELA_FLAG_EXTRA_DATA;
        }
        return result;
    }

    // `spare` bytes of room beyond the encoding expected; what is stored beyond the room is a failure.
    octets marshal(const void *instance, u_int32 spare) {
        constexpr u_int8 untouched = 0xA5;
        const u_int32 room = static_cast<u_int32>(vector_.bytes.size()) + spare;
        octets buffer(room + 1, untouched);  // a tracked encoding may need a byte beyond its room
        const u_int32 length = about_.operations->marshal(handle_, mem_class, buffer.data(), instance, room, &err_);
        check("marshal");
        EXPECT_LE(length, room);
        EXPECT_EQ(buffer[room], untouched);
        buffer.resize(std::min(length, room));
        return buffer;
    }

    instance_ptr unmarshal(const octets &bytes) {
        const u_int32 length = static_cast<u_int32>(bytes.size());
        u_int32 consumed = 0;
        instance_ptr result;
        if (about_.kind == PTP_CFG_MESSAGE) {
            void *message = nullptr;
            consumed = about_.operations->unmarshal_only(handle_, mem_class, &message, bytes.data(), length, &err_);
            result = own(message);
        } else {
            result = create();
            consumed = about_.operations->unmarshal(handle_, mem_class, bytes.data(), result.get(), length, &err_);
        }
        check("unmarshal");
        EXPECT_EQ(consumed, length);
        return result;
    }

    // The length operation leaves out extra runtime data.
    u_int32 expected_len() const {
        return static_cast<u_int32>(vector_.bytes.size() - VELA_WIRE_EXTRA_DATA * vector_.extra_data.size());
    }

    vela_handle *handle() { return handle_; }
    const ptp_cfg_type_description &about() const { return about_; }

  private:
    void check(const std::string &what) {
        if (err_ != 0) {
            throw std::runtime_error(what + ": error " + std::to_string(err_));
        }
    }

    // Takes the first step off a path: "name", "name[3]" or "name[*]".
    static place find(const ptp_cfg_type *owner, void *instance, const std::string &step) {
        const size_t bracket = step.find('[');
        const std::string name = step.substr(0, bracket);
        place at = {owner, instance, 0, 0, {}};
        at.field.size = sizeof at.field;
        if (bracket != std::string::npos) {
            at.element =
                step[bracket + 1] == '*' ? whole_array : static_cast<u_int32>(std::stoul(step.substr(bracket + 1)));
        }
        while (ptp_cfg_field_describe(owner, at.index, &at.field) != 0) {
            if (name == at.field.name) {
                return at;
            }
            ++at.index;
        }
        throw std::runtime_error("the library has no field " + step);
    }

    place resolve(void *instance, const std::string &path) {
        std::istringstream steps(path);
        std::string step;
        std::getline(steps, step, '/');
        place at = find(type_, instance, step);
        while (std::getline(steps, step, '/')) {
            at = find(at.field.type, storage(at), step);
        }
        return at;
    }

    void *storage(const place &at) {
        void *result = ptp_cfg_field_get(at.owner, at.index, handle_, mem_class, at.instance, at.element, &err_);
        check(at.field.name);
        return result;
    }

    void set(void *instance, const std::string &path, std::istringstream &value) {
        std::string kind;
        std::string hex;
        value >> kind;
        if (kind == "number") {
            set_number(instance, path, rest_of(value));
        } else if (kind == "ip") {
            ip_address address = {};
            value >> address.family >> hex >> address.scope_id;
            const octets bytes = from_hex(hex);
            std::copy_n(bytes.begin(), sizeof address.bytes, address.bytes);
            set_whole(resolve(instance, path), &address, 0);
        } else if (kind == "vrf") {
            vrf_info vrf = {};
            value >> vrf.id >> vrf.table_id >> vrf.afi >> vrf.safi;
            set_whole(resolve(instance, path), &vrf, 0);
        } else {
            value >> hex;
            octets bytes = from_hex(hex);
            const u_int32 length = static_cast<u_int32>(bytes.size());
            bytes.push_back(0);  // an empty text has an address too
            set_whole(resolve(instance, path), bytes.data(), length);
        }
        check(path);
    }

    void set_number(void *instance, const std::string &path, const std::string &text) {
        const u_int64 number = text[0] == '-' ? static_cast<u_int64>(std::stoll(text)) : std::stoull(text);
        if (about_.kind == PTP_CFG_ENUMERATION) {  // reflection sets enumerations inside records only
            using set_value_fn = void (*)(vela_handle *, u_int32, void *, u_int32, u_int32 *);
            void *function = dlsym(RTLD_DEFAULT, (vector_.name + "_set_value").c_str());
            if (function == nullptr) {
                throw std::runtime_error("there is no set_value");
            }
            reinterpret_cast<set_value_fn>(function)(handle_, mem_class, instance, static_cast<u_int32>(number), &err_);
            return;
        }
        const place at = resolve(instance, path);
        if (at.owner == type_ && about_.kind == PTP_CFG_MESSAGE) {  // a payload of one truth value
            *static_cast<vela_boolean *>(storage(at)) = static_cast<vela_boolean>(number);
            return;
        }
        ptp_cfg_field_set_value(at.owner, at.index, handle_, mem_class, at.instance, at.element, number, &err_);
    }

    void set_whole(const place &at, const void *value, u_int32 length) {
        ptp_cfg_field_set(at.owner, at.index, handle_, mem_class, at.instance, at.element, value, length, &err_);
    }

    const test_vector &vector_;
    const ptp_cfg_type *type_;
    ptp_cfg_type_description about_ = {};
    std::unique_ptr<vela_domain, decltype(&vela_domain_destroy)> domain_;
    vela_handle *handle_ = nullptr;
    u_int32 err_ = 0;
};

std::string excerpt(const octets &bytes, size_t from) {
    std::ostringstream out;
    for (size_t i = from; i < std::min(from + 12, bytes.size()); ++i) {
        out << ' ' << std::hex << std::setw(2) << std::setfill('0') << int{bytes[i]};
    }
    return out.str();
}

testing::AssertionResult same_bytes(const test_vector &expected, const octets &got) {
    const auto at = std::mismatch(expected.bytes.begin(), expected.bytes.end(), got.begin(), got.end());
    if (at.first == expected.bytes.end() && at.second == got.end()) {
        return testing::AssertionSuccess();
    }
    const size_t offset = static_cast<size_t>(at.second - got.begin());
    const auto after = std::upper_bound(expected.pieces.begin(), expected.pieces.end(), offset,
                                        [](size_t value, const wire_piece &piece) { return value < piece.offset; });
    return testing::AssertionFailure() << "first difference at offset " << offset << ", in "
                                       << (at.first == expected.bytes.end() ? "nothing" : std::prev(after)->what)
                                       << "\n  expected" << excerpt(expected.bytes, offset) << "\n       got"
                                       << excerpt(got, offset) << "\n  expected " << expected.bytes.size()
                                       << " bytes, got " << got.size();
}

void check(const test_vector &vector, bool reference_path) {
    subject library(vector, reference_path);
    const ptp_cfg_operations *operations = library.about().operations;
#if defined(PTP_CFG_COUNT_PATHS) && !defined(PTP_CFG_EXPORTED_RUNTIME)
    const ptp_cfg_test::wire_paths before = ptp_cfg_test::wire_paths_so_far();
#endif
    const auto sent = library.create_filled();
    EXPECT_EQ(operations->len(library.handle(), mem_class, sent.get()), library.expected_len());
    ASSERT_TRUE(same_bytes(vector, library.marshal(sent.get(), 64)));
    EXPECT_TRUE(same_bytes(vector, library.marshal(sent.get(), 0))) << "with no room to spare";

    const auto received = library.unmarshal(vector.bytes);
    EXPECT_TRUE(same_bytes(vector, library.marshal(received.get(), 0))) << "after it was decoded";
    if (operations->compare != nullptr) {
        EXPECT_EQ(operations->compare(sent.get(), received.get()), 0);
        EXPECT_EQ(operations->hash(sent.get(), 1), operations->hash(received.get(), 1));
    }
#if defined(PTP_CFG_COUNT_PATHS) && !defined(PTP_CFG_EXPORTED_RUNTIME)
    if (library.about().kind == PTP_CFG_STRUCTURE && vector.can_go_unrolled()) {
        EXPECT_EQ(ptp_cfg_test::wire_paths_so_far().unrolled == before.unrolled, reference_path)
            << "the other path ran";
    }
#endif
}

void check_all(ptp_cfg_type_kind kind, bool tracked) {
    for (const test_vector &vector : the_vectors().vectors) {
        const ptp_cfg_type *type = ptp_cfg_type_find(vector.name.c_str());
        if (vector.tracked != tracked || (type != nullptr && describe(type).kind != kind)) {
            continue;
        }
        for (const bool reference_path : {false, true}) {
            if (reference_path && !vector.can_go_unrolled()) {
                continue;
            }
            SCOPED_TRACE(vector.title + (reference_path ? ", by the reference path" : ""));
            try {
                check(vector, reference_path);
            } catch (const std::runtime_error &failure) {
                ADD_FAILURE() << failure.what();
            }
        }
    }
}

TEST(Oracle, UntrackedStructures) { check_all(PTP_CFG_STRUCTURE, false); }
TEST(Oracle, TrackedStructures) { check_all(PTP_CFG_STRUCTURE, true); }
TEST(Oracle, UntrackedEnumerations) { check_all(PTP_CFG_ENUMERATION, false); }
TEST(Oracle, TrackedEnumerations) { check_all(PTP_CFG_ENUMERATION, true); }
TEST(Oracle, UntrackedMessages) { check_all(PTP_CFG_MESSAGE, false); }
TEST(Oracle, TrackedMessages) { check_all(PTP_CFG_MESSAGE, true); }

TEST(Oracle, HasVectorsForEveryType) {
    std::set<std::string> with_vectors;
    for (const test_vector &vector : the_vectors().vectors) {
        with_vectors.insert(vector.name);
    }
    for (u_int32 i = 0; i < ptp_cfg_type_count(); ++i) {
        const char *name = describe(ptp_cfg_type_at(i)).name;
        EXPECT_EQ(with_vectors.erase(name), 1u) << name << " has no vectors";
    }
    EXPECT_EQ(with_vectors, std::set<std::string>()) << "the library does not have them";
}

TEST(Oracle, AgreesOnShapesAndSizes) {
    for (const type_line &expected : the_vectors().types) {
        const ptp_cfg_type *type = ptp_cfg_type_find(expected.name.c_str());
        ASSERT_NE(type, nullptr) << expected.name;
        const ptp_cfg_type_description got = describe(type);
        EXPECT_EQ(got.newest_variant, expected.newest_variant) << expected.name;
        EXPECT_EQ(got.field_count + got.literal_count, expected.parts) << expected.name;
        EXPECT_EQ(got.untracked_size, expected.size) << expected.name;
        EXPECT_EQ(got.tracked_size, expected.tracked_size) << expected.name;
    }
}

}  // namespace
