// Every operation of every type while one allocation fails, for each that it makes: it ends with the documented error or as
// if nothing had failed, and what it left is destroyed as ever. With each failure once alone and once for good.
#include "failing_memory.h"
#include "ptp_cfg/json.h"
#include "ptp_cfg/receive.h"
#include "records.h"
#include "vela_bundle.h"
#include "vela_recorder.h"
#include "vela_transport.h"

using test::memory;

namespace ptp_cfg_test {
namespace {

/** What a handle is made with: the ways through the library differ. */
struct variation {
    const char *name;
    u_int32 tracking;
    bool is_shared;
    bool has_allocator;
};
constexpr variation variations[] = {{"plain", 0, false, false},
                                    {"allocator of the program", 0, false, true},
                                    {"tracking", VELA_STTR_ON, false, true},
                                    {"type information of its own", 0, true, true}};

/** A handle that counts its blocks. It is made anew for each failure, as what a handle keeps is made at first use. */
class counted_handle {
  public:
    explicit counted_handle(const variation &which) {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.tracking = which.tracking;
        options.shared_type_info = which.is_shared ? 1 : 0;
        options.cookie = this;
        if (which.has_allocator) {
            options.alloc = [](void *self, u_int32, size_t size) {
                void *block = std::malloc(size);
                static_cast<counted_handle *>(self)->blocks_ += block != nullptr ? 1 : 0;
                return block;
            };
            options.free = [](void *self, u_int32, void *block) {
                static_cast<counted_handle *>(self)->blocks_ -= block != nullptr ? 1 : 0;
                std::free(block);
            };
        }
        u_int32 err = 0;
        handle_ = vela_handle_create(&options, &err);
    }
    counted_handle(const counted_handle &) = delete;
    counted_handle &operator=(const counted_handle &) = delete;
    ~counted_handle() { vela_handle_destroy(handle_, nullptr); }
    operator vela_handle *() const { return handle_; }
    u_int64 blocks() const {
        vela_memory_use use = {};
        vela_handle_memory_use(handle_, &use, nullptr, 0);
        return use.blocks + blocks_;
    }

  private:
    vela_handle *handle_ = nullptr;
    u_int64 blocks_ = 0;
};

long failures = 0;

/**
 * Goes on until an attempt makes no allocation that fails. An attempt calls memory.fail_after(n, for_good), the library,
 * and memory.stop(), and then says what came of it.
 * @param attempt  (n, for_good) gives the error word
 */
template <class Attempt>
void sweep(const std::string &what, Attempt attempt) {
    for (const bool for_good : {false, true}) {
        for (long n = 0;; ++n) {
            SCOPED_TRACE(testing::Message() << what << ", allocation " << n << (for_good ? " and all after it" : ""));
            ASSERT_LT(n, 5000) << "it never succeeds";
            const u_int32 err = attempt(n, for_good);
            const bool has_failed = memory.has_failed();
            failures += has_failed ? 1 : 0;
            ASSERT_TRUE(err == 0 || (has_failed && err == VELA_ENOMEM)) << err;
            ASSERT_FALSE(testing::Test::HasFailure());
            if (!has_failed) {
                break;
            }
        }
    }
}

class Allocations : public testing::TestWithParam<variation> {
  protected:
    void SetUp() override {
        bitlog_set_sink([](void *, const bitlog_record *) {}, nullptr);  // each failure would be told on stderr
        if (!test::can_fail()) {
            GTEST_SKIP() << "the program's memory is another's here";
        }
    }

    void TearDown() override { bitlog_set_sink(nullptr, nullptr); }
    static void TearDownTestSuite() { std::cout << failures << " failures\n"; }

    static octets encoded(const record_type &type) {
        const test_handle sender({.tracking = GetParam().tracking});
        const auto instance = type.create(sender);
        fill(type, sender, instance.get(), filling::random);
        return type.marshal(sender, instance.get());
    }
    static std::string written(const record_type &type, const octets &bytes) {
        const test_handle reader({.tracking = GetParam().tracking});
        const auto instance = type.unmarshal(reader, bytes);
        return type.to_xml(reader, instance.get());
    }
    static std::string as_json(const record_type &type, const octets &bytes) {
        const test_handle reader({.tracking = GetParam().tracking});
        const auto instance = type.unmarshal(reader, bytes);
        std::string text(1u << 18, ' ');
        u_int32 err = 0;
        const ptp_cfg_json_options options = {sizeof options, PTP_CFG_JSON_STATE_FLAGS, 0, nullptr, nullptr};
        text.resize(
            ptp_cfg_to_json(reader, mem_class, type.type, instance.get(), text.data(), 1u << 18, &options, &err));
        EXPECT_EQ(err, 0u) << type.about.name;
        return text;
    }
    /** Destroys it, after a look at what it holds where it was made without an error, and nothing is left. */
    static void finish(const record_type &type, const counted_handle &handle, void *made, u_int32 err,
                       const octets &expected) {
        if (err == 0 && made != nullptr && !expected.empty()) {
            EXPECT_EQ(type.marshal(handle, made), expected);
        }
        if (made != nullptr) {
            type.operations->destroy(handle, mem_class, made);
        }
        EXPECT_EQ(handle.blocks(), 0u) << "something is left";
    }

    /** Both kinds of types. */
    template <class Each>
    static void for_each_record(Each each) {
        for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION}) {
            for (const record_type &type : record_types(kind)) {
                each(type);
                ASSERT_FALSE(HasFailure());
            }
        }
    }
};

TEST_P(Allocations, OfCreateLeaveNothing) {
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION, PTP_CFG_MESSAGE}) {
        for (const record_type &type : record_types(kind)) {
            for (const auto create : {type.operations->create, type.operations->create_shallow}) {
                if (create == nullptr) {
                    continue;
                }
                sweep(type.about.name, [&](long n, bool for_good) {
                    const counted_handle handle(GetParam());
                    memory.fail_after(n, for_good);
                    void *made = create(handle, mem_class);
                    memory.stop();
                    EXPECT_TRUE(made != nullptr || memory.has_failed());
                    finish(type, handle, made, VELA_ENOMEM, {});
                    return 0u;
                });
            }
        }
    }
}

TEST_P(Allocations, OfCloneAndCopyLeaveTheSource) {
    for_each_record([&](const record_type &type) {
        const octets bytes = encoded(type);
        if (type.operations->clone == nullptr) {
            return;
        }
        for (const bool is_copy : {false, true}) {
            sweep(std::string(type.about.name) + (is_copy ? " copy" : " clone"), [&](long n, bool for_good) {
                const counted_handle handle(GetParam());
                void *source = type.unmarshal(handle, bytes).release();
                void *made = is_copy ? type.operations->create(handle, mem_class) : nullptr;
                u_int32 err = 0;
                memory.fail_after(n, for_good);
                if (is_copy) {
                    type.operations->copy(handle, mem_class, source, &made, &err);
                } else {
                    made = type.operations->clone(handle, mem_class, source, &err);
                }
                memory.stop();
                EXPECT_TRUE(is_copy || (made == nullptr) == (err != 0));
                EXPECT_EQ(type.marshal(handle, source), bytes);
                type.operations->destroy(handle, mem_class, source);
                finish(type, handle, made, err, bytes);
                return err;
            });
        }
    });
}

TEST_P(Allocations, OfUnmarshalAreItsError) {
    for_each_record([&](const record_type &type) {
        const octets bytes = encoded(type);
        sweep(type.about.name, [&](long n, bool for_good) {
            const counted_handle handle(GetParam());
            void *made = type.operations->create(handle, mem_class);
            u_int32 err = 0;
            memory.fail_after(n, for_good);
            type.operations->unmarshal(handle, mem_class, bytes.data(), made, static_cast<u_int32>(bytes.size()), &err);
            memory.stop();
            finish(type, handle, made, err, bytes);
            return err;
        });
    });
}

TEST_P(Allocations, OfReadingXmlAreItsError) {
    for_each_record([&](const record_type &type) {
        const octets bytes = encoded(type);
        const std::string xml = written(type, bytes);
        const std::string path = std::string("//") + type.about.name;
        for (const u_int32 rules : {0u, u_int32{VELA_XML_STRICT}}) {
            sweep(std::string(type.about.name) + " from XML", [&](long n, bool for_good) {
                const counted_handle handle(GetParam());
                void *made = type.operations->create(handle, mem_class);
                const vela_xml_options options = {sizeof options, rules, nullptr, nullptr};
                char why[100];
                u_int32 err = 0;
                memory.fail_after(n, for_good);
                vela_xml_document *read = vela_xml_parse_with(xml.data(), xml.size(), &options, &err, why, sizeof why);
                type.operations->from_xml(handle, mem_class, path.c_str(), read, made, &err, why, sizeof why);
                vela_xml_destroy(read);
                memory.stop();
                finish(type, handle, made, err, GetParam().tracking == 0 ? bytes : octets());
                return err;
            });
        }
    });
}

TEST_P(Allocations, OfReadingJsonAreItsErrorAndChangeNothing) {
    for_each_record([&](const record_type &type) {
        const octets bytes = encoded(type);
        const std::string json = as_json(type, bytes);
        for (const bool is_new : {false, true}) {
            sweep(std::string(type.about.name) + " from JSON", [&](long n, bool for_good) {
                const counted_handle handle(GetParam());
                void *given = is_new ? nullptr : type.operations->create(handle, mem_class);
                const octets before = is_new ? octets() : type.marshal(handle, given);
                const ptp_cfg_json_options options = {sizeof options, PTP_CFG_JSON_STATE_FLAGS, 0, nullptr, nullptr};
                char why[100];
                u_int32 err = 0;
                memory.fail_after(n, for_good);
                void *made = ptp_cfg_from_json(handle, mem_class, type.type, given, json.data(), json.size(), &options,
                                               &err, why, sizeof why);
                memory.stop();
                EXPECT_EQ(made == nullptr, err != 0);
                if (given != nullptr && err != 0) {
                    EXPECT_EQ(type.marshal(handle, given), before) << "what was given has changed";
                }
                finish(type, handle, is_new ? made : given, err, bytes);
                return err;
            });
        }
    });
}

TEST_P(Allocations, OfReceivingAreItsError) {
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        const octets bytes = encoded(type);
        const u_int32 length = static_cast<u_int32>(bytes.size());
        sweep(std::string(type.about.name) + " unmarshal_only", [&](long n, bool for_good) {
            const counted_handle handle(GetParam());
            void *made = nullptr;
            u_int32 err = 0;
            memory.fail_after(n, for_good);
            type.operations->unmarshal_only(handle, mem_class, &made, bytes.data(), length, &err);
            memory.stop();
            finish(type, handle, made, err, bytes);
            return err;
        });
        sweep(std::string(type.about.name) + " receive", [&](long n, bool for_good) {
            const counted_handle handle(GetParam());
            u_int32 err = 0;
            memory.fail_after(n, for_good);
            void *made = ptp_cfg_receive(handle, mem_class, nullptr, bytes.data(), length, nullptr, &err);
            memory.stop();
            EXPECT_EQ(made == nullptr, err != 0);
            finish(type, handle, made, err, bytes);
            return err;
        });
        sweep(std::string(type.about.name) + " dispatch", [&](long n, bool for_good) {
            const counted_handle handle(GetParam());
            const auto destroy = [](vela_handle *with, u_int32 of_class, void *, const ptp_cfg_type *of, void *message,
                                    u_int32 *) { ptp_cfg_message_destroy(with, of_class, of, message); };
            ptp_cfg_bundle_report report = {};
            u_int32 err = 0;
            memory.fail_after(n, for_good);
            ptp_cfg_dispatch_bundle(handle, mem_class, destroy, nullptr, bytes.data(), length, &report, &err);
            memory.stop();
            EXPECT_EQ(report.taken, err == 0 ? 1u : 0u);
            finish(type, handle, nullptr, err, {});
            return err;
        });
    }
}

TEST_P(Allocations, OfMessagesFromXmlAndOfBundlesAreTheirError) {
    for (const record_type &type : record_types(PTP_CFG_MESSAGE)) {
        const octets bytes = encoded(type);
        const std::string xml = written(type, bytes);
#ifndef PTP_CFG_EXPORTED_RUNTIME  // such a library reads plainly only
        // A plain reading that fails leaves what it had built to the handle.
        sweep(std::string(type.about.name) + " from strict XML", [&](long n, bool for_good) {
            const counted_handle handle(GetParam());
            const vela_xml_options options = {sizeof options, VELA_XML_STRICT, nullptr, nullptr};
            char why[100];
            u_int32 err = 0;
            memory.fail_after(n, for_good);
            vela_xml_document *read = vela_xml_parse_with(xml.data(), xml.size(), &options, &err, why, sizeof why);
            void *made = type.operations->from_document(handle, mem_class, read, &err, why, sizeof why);
            vela_xml_destroy(read);
            memory.stop();
            finish(type, handle, made, err, GetParam().tracking == 0 ? bytes : octets());
            return err;
        });
#endif
        sweep(std::string(type.about.name) + " in a bundle", [&](long n, bool for_good) {
            const counted_handle handle(GetParam());
            void *message = type.unmarshal(handle, bytes).release();
            const u_int8 *packed = nullptr;
            u_int32 err = 0, ignored = 0, room = 0;
            memory.fail_after(n, for_good);
            vela_bundle *bundle = vela_bundle_open(handle, mem_class, 1u << 16, &err);
            vela_bundle_add(handle, mem_class, type.operations->marshal, message, &err);
            vela_bundle_close(handle, &packed, &room, &ignored);
            vela_bundle_destroy(bundle);
            memory.stop();
            finish(type, handle, message, err, {});
            return err;
        });
    }
}

INSTANTIATE_TEST_SUITE_P(Handles, Allocations, testing::ValuesIn(variations),
                         [](const auto &info) { return std::string("Handle") + std::to_string(info.index); });

}  // namespace
}  // namespace ptp_cfg_test
