// Every type under every budget of memory: what cannot be had is error 12, and what was made before is given back.
#include "records.h"

namespace ptp_cfg_test {
namespace {

/** A handle that keeps accounts; whatever is left at its end is a failure that names the type of the block. */
class accounted_handle {
  public:
    explicit accounted_handle(u_int32 tracking) {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.tracking = tracking;
        options.memory_accounting = 1;
        options.left_behind = [](void *, const vela_left_block *block) {
            ADD_FAILURE() << block->size << " bytes are left of a "
                          << (block->type_name == nullptr ? "block" : block->type_name);
        };
        u_int32 err = 0;
        handle_ = vela_handle_create(&options, &err);
        EXPECT_EQ(err, 0u);
    }
    accounted_handle(const accounted_handle &) = delete;
    accounted_handle &operator=(const accounted_handle &) = delete;
    ~accounted_handle() { vela_handle_destroy(handle_, nullptr); }
    operator vela_handle *() const { return handle_; }

    vela_memory_use use() const {
        vela_memory_use total = {};
        vela_handle_memory_use(handle_, &total, nullptr, 0);
        return total;
    }
    /** Lets the handle give out so many bytes more; 0: any number. */
    void allow(u_int64 bytes) { vela_handle_set_memory_budget(handle_, bytes == 0 ? 0 : use().bytes + bytes); }

  private:
    vela_handle *handle_;
};

class Budget : public testing::TestWithParam<u_int32> {
  protected:
    /** Calls `attempt`, which returns an error word and leaves nothing behind, with one byte more each time. */
    template <class Attempt>
    static void sweep(accounted_handle &handle, const char *what, Attempt attempt) {
        const u_int64 blocks = handle.use().blocks;
        const u_int64 bytes = handle.use().bytes;
        u_int32 err = VELA_ENOMEM;
        for (u_int64 budget = 1; err != 0; ++budget) {
            const u_int64 refused = handle.use().refused;
            err = attempt(budget);
            handle.allow(0);
            ASSERT_EQ(handle.use().blocks, blocks) << what << " with " << budget << " bytes";
            ASSERT_EQ(handle.use().bytes, bytes) << what << " with " << budget << " bytes";
            ASSERT_EQ(err != 0, handle.use().refused != refused) << what << " with " << budget << " bytes";
            ASSERT_TRUE(err == 0 || err == VELA_ENOMEM) << what << " with " << budget << " bytes: " << err;
            ASSERT_LT(budget, 100000u) << what << " never succeeds";
        }
    }

    static u_int32 create(const record_type &type, accounted_handle &handle, u_int64 budget) {
        handle.allow(budget);
        void *instance = type.operations->create(handle, mem_class);
        const u_int32 err = instance == nullptr ? VELA_ENOMEM : 0;
        if (err == 0) {
            type.operations->destroy(handle, mem_class, instance);
        }
        return err;
    }

    static u_int32 clone(const record_type &type, accounted_handle &handle, const void *source, u_int64 budget) {
        handle.allow(budget);
        u_int32 err = 0;
        void *instance = type.operations->clone(handle, mem_class, source, &err);
        EXPECT_EQ(instance == nullptr, err != 0);
        type.operations->destroy(handle, mem_class, instance);
        return err;
    }

    static u_int32 copy(const record_type &type, accounted_handle &handle, const void *source, u_int64 budget) {
        void *target = type.operations->create(handle, mem_class);
        handle.allow(budget);
        u_int32 err = 0;
        type.operations->copy(handle, mem_class, source, &target, &err);
        type.operations->destroy(handle, mem_class, target);
        return err;
    }

    static u_int32 unmarshal(const record_type &type, accounted_handle &handle, const octets &bytes, u_int64 budget) {
        const u_int32 length = static_cast<u_int32>(bytes.size());
        u_int32 err = 0;
        void *target = nullptr;
        if (type.about.kind == PTP_CFG_MESSAGE) {
            handle.allow(budget);
            type.operations->unmarshal_only(handle, mem_class, &target, bytes.data(), length, &err);
        } else {
            target = type.operations->create(handle, mem_class);
            handle.allow(budget);
            type.operations->unmarshal(handle, mem_class, bytes.data(), target, length, &err);
        }
        type.operations->destroy(handle, mem_class, target);
        return err;
    }
};

TEST_P(Budget, EveryTypeFailsCleanlyUntilThereIsEnough) {
    for (const ptp_cfg_type_kind kind : {PTP_CFG_STRUCTURE, PTP_CFG_ENUMERATION, PTP_CFG_MESSAGE}) {
        for (const record_type &type : record_types(kind)) {
            SCOPED_TRACE(type.about.name);
            accounted_handle handle(GetParam());
            const auto source = type.create(handle);
            if (kind != PTP_CFG_ENUMERATION) {
                fill(type, handle, source.get(), filling::random);
            }
            const octets bytes = type.marshal(handle, source.get());
            sweep(handle, "create", [&](u_int64 budget) { return create(type, handle, budget); });
            sweep(handle, "unmarshal", [&](u_int64 budget) { return unmarshal(type, handle, bytes, budget); });
            if (kind != PTP_CFG_STRUCTURE) {
                continue;
            }
            sweep(handle, "clone", [&](u_int64 budget) { return clone(type, handle, source.get(), budget); });
            sweep(handle, "copy", [&](u_int64 budget) { return copy(type, handle, source.get(), budget); });
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Handles, Budget, testing::Values(0u, u_int32{VELA_STTR_OFF}, u_int32{VELA_STTR_ON}), [](const auto &info) {
        return std::string(info.param == 0 ? "Plain" : info.param == VELA_STTR_OFF ? "Untracked" : "Tracked");
    });

}  // namespace
}  // namespace ptp_cfg_test
