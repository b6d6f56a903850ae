// Reading XML while memory fails at one allocation after the other: the parser's, the runtime's or the handle's. What is
// not read is error 12, whatever the road to the element; what is read is right.
#include <cstdlib>
#include <pugixml.hpp>
#include <utility>

#include "failing_memory.h"
#include "ptp_cfg/clock.h"
#include "ptp_cfg/enumerations.h"
#include "ptp_cfg/messages.h"
#include "records.h"

using test::allocate;
using test::failing_memory;
using test::memory;

namespace ptp_cfg_test {
namespace {

/** A handle whose memory fails with all other; it takes back itself what a failed call leaves with it. */
class failing_handle {
  public:
    failing_handle() {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.cookie = this;
        options.alloc = [](void *self, u_int32, size_t size) {
            return static_cast<failing_handle *>(self)->give(size);
        };
        options.free = [](void *self, u_int32, void *block) { static_cast<failing_handle *>(self)->take(block); };
        u_int32 err = 0;
        handle_ = vela_handle_create(&options, &err);
        EXPECT_EQ(err, 0u);
    }
    ~failing_handle() {
        vela_handle_destroy(handle_, nullptr);
        while (first_ != nullptr) {
            take(first_ + 1);
        }
    }
    failing_handle(const failing_handle &) = delete;
    failing_handle &operator=(const failing_handle &) = delete;
    operator vela_handle *() const { return handle_; }
    vela_handle *operator->() const { return handle_; }

  private:
    struct alignas(16) header {
        header *previous, *next;
    };

    void *give(size_t size) {
        header *block = static_cast<header *>(allocate(sizeof(header) + size));
        if (block == nullptr) {
            return nullptr;
        }
        *block = {nullptr, first_};
        if (first_ != nullptr) {
            first_->previous = block;
        }
        first_ = block;
        return block + 1;
    }
    void take(void *memory) {
        header *block = static_cast<header *>(memory) - 1;
        (block->previous != nullptr ? block->previous->next : first_) = block->next;
        if (block->next != nullptr) {
            block->next->previous = block->previous;
        }
        std::free(block);
    }

    header *first_ = nullptr;
    vela_handle *handle_;
};

class XmlMemory : public testing::Test {
  protected:
    void SetUp() override {
#ifdef PTP_CFG_EXPORTED_RUNTIME
        GTEST_SKIP() << "such a library reads directly, and answers for its runtime's memory only where it asks";
#endif
        old_allocate = pugi::get_memory_allocation_function();
        old_free = pugi::get_memory_deallocation_function();
        pugi::set_memory_management_functions(allocate, std::free);
    }
    void TearDown() override {
        if (old_allocate != nullptr) {
            pugi::set_memory_management_functions(old_allocate, old_free);
        }
    }

    /** Calls `attempt`, which gives its error word, with a failure one allocation later each time, until there is none. */
    template <class Attempt>
    static void sweep(const std::string &what, u_int32 without_failure, Attempt attempt) {
        for (const bool for_good : {false, true}) {
            for (long n = 0;; ++n) {
                memory.fail_after(n, for_good);
                const u_int32 err = attempt();
                const bool has_failed = memory.has_failed();
                memory.stop();
                ASSERT_EQ(err, has_failed ? u_int32{VELA_ENOMEM} : without_failure) << what << ", allocation " << n;
                if (!has_failed) {
                    break;
                }
                ASSERT_LT(n, 10000) << what << " never succeeds";
            }
        }
    }

    static vela_xml_document *parse(const std::string &text, u_int32 rules, u_int32 *err, char *why, u_int32 room) {
        vela_xml_options options = {sizeof options, rules, nullptr, nullptr};
        return vela_xml_parse_with(text.data(), text.size(), &options, err, why, room);
    }

    /** Reads a record of a type by a path; what is read without failure must be `expected`. */
    void read_record(const char *name, const std::string &path, const std::string &text, u_int32 rules,
                     u_int32 without_failure) {
        const record_type type(name);
        sweep(path + " rules " + std::to_string(rules) + " " + text.substr(0, 60), without_failure, [&] {
            failing_memory now = std::exchange(memory, {});
            failing_handle handle;
            void *instance = type.operations->create(handle, mem_class);
            memory = now;
            char why[24] = "";  // too short for a path: that is not the error
            u_int32 err = 0;
            vela_xml_document *document = parse(text, rules, &err, why, sizeof why);
            if (document != nullptr) {
                type.operations->from_xml(handle, mem_class, path.c_str(), document, instance, &err, why, sizeof why);
                EXPECT_TRUE(err == 0 || handle->last_error.code == err) << err;
            }
            now = std::exchange(memory, {});
            if (err == 0) {
                EXPECT_EQ(type.to_xml(handle, instance), text);
            }
            vela_xml_destroy(document);
            type.operations->destroy(handle, mem_class, instance);
            memory = now;
            return err;
        });
    }

    pugi::allocation_function old_allocate = nullptr;
    pugi::deallocation_function old_free = nullptr;
};

std::string rendered(const char *name) {
    const record_type type(name);
    const test_handle handle;
    const auto instance = type.create(handle);
    if (type.about.kind != PTP_CFG_ENUMERATION) {
        fill(type, handle, instance.get(), filling::random);
    }
    return type.to_xml(handle, instance.get());
}

TEST_F(XmlMemory, EveryRoadToARecordEndsWith12) {
    for (const std::string name : {"ptp_port", "ptp_clock_accuracy", "ptp_utc_offset"}) {
        const std::string text = rendered(name.c_str());
        for (const std::string &path : {"//" + name, "(//" + name + ")[1]", "//*[name() = '" + name + "']"}) {
            read_record(name.c_str(), path, text, 0, 0);
            read_record(name.c_str(), path, text, VELA_XML_STRICT | VELA_XML_ALL_FIELDS, 0);
        }
    }
}

TEST_F(XmlMemory, DocumentsThatAreRefusedOtherwise) {
    const std::string wrong = "<q>&amp;<x><clock_class>300</clock_class></x></q>";
    read_record("ptp_clock_quality", "//q", wrong, VELA_XML_STRICT, VELA_EINVAL);
    read_record("ptp_clock_quality", "(//q)[last()]/*", wrong, 0, VELA_EINVAL);
    read_record("ptp_clock_quality", "//q", "<q a='1' b='2' a='3'/>", 0, VELA_EINVAL);
    read_record("ptp_clock_quality", "(//nowhere)[1]", wrong, 0, VELA_ENOENT);
}

TEST_F(XmlMemory, Messages) {
    const record_type type("ptp_port_cfg_message");
    const std::string text = rendered("ptp_port_cfg_message");
    for (const u_int32 rules : {u_int32{0}, u_int32{VELA_XML_STRICT | VELA_XML_ALL_PAYLOADS | VELA_XML_ALL_FIELDS}}) {
        sweep("message", 0, [&] {
            failing_memory now = std::exchange(memory, {});
            failing_handle handle;
            memory = now;
            u_int32 err = 0;
            vela_xml_document *document = parse(text, rules, &err, nullptr, 0);
            void *message = document == nullptr
                                ? nullptr
                                : type.operations->from_document(handle, mem_class, document, &err, nullptr, 0);
            now = std::exchange(memory, {});
            EXPECT_EQ(message == nullptr, err != 0);
            if (message != nullptr) {
                EXPECT_EQ(type.to_xml(handle, message), text);
                type.operations->destroy(handle, mem_class, message);
            }
            vela_xml_destroy(document);
            memory = now;
            return err;
        });
    }
}

TEST_F(XmlMemory, ReadsByPath) {
    const std::string text = "<r><a k='1'>1</a><a k='2'>2</a></r>";
    const document parsed = parse_xml(text);
    for (const char *path : {"//a[@k='2']", "(//a)[2]", "//a[position() > 1]"}) {
        sweep(path, 0, [&] {
            char value[8] = "";
            const u_int32 err = xml_get_element_value(parsed.get(), path, value, sizeof value, 0);
            if (err == 0) {
                EXPECT_STREQ(value, "2");
            }
            return err;
        });
        sweep(path, 0, [&] {
            u_int32 count = 0;
            const u_int32 err = xml_get_element_nodecount(parsed.get(), path, &count);
            if (err == 0) {
                EXPECT_EQ(count, 1u);
            }
            return err;
        });
    }
    sweep("a path that is none", VELA_EINVAL, [&] {
        const char *text_of = nullptr;
        return xml_get_element_text(parsed.get(), "//a[", &text_of);
    });
}

}  // namespace
}  // namespace ptp_cfg_test
