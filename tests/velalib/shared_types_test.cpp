// Type information in a file that processes share: making, mapping, entering, counting.
#include <csignal>

#include "shared_types_fixture.h"

namespace velalib_test {
namespace {

TEST_F(shared_types_test, AHandleEntersTheLoadedModules) {
    shared_types types = make();
    vela_handle *handle = make_handle(types);
    ASSERT_NE(handle, nullptr) << err;
    EXPECT_EQ(counts_of(types.get()),
              (std::vector<std::string>{"ptp_port 0 0 0", "ptp_port 1 0 0", "ptp_clock 0 0 0"}));
    const vela_type_info *record = find(handle, port.info);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(vela_type_info_ptr_get(handle, test_class, &port.info, nullptr), record);
    EXPECT_NE(record->shared, 0u);
    EXPECT_EQ(record->variant_table->rows[1].used_length, port.rows[1].used_length);
    // Nothing in it points out of the file.
    const char *first = static_cast<const char *>(agreed);
    for (const void *place : {static_cast<const void *>(record), static_cast<const void *>(record->variant_table),
                              static_cast<const void *>(record->variant_table->rows)}) {
        EXPECT_TRUE(place >= first && place < first + room);
    }
    velalib_type_stats_create_object(handle, test_class, record, &record->variant_table->rows[1], &err);
    EXPECT_EQ(counts_of(read().get())[1], "ptp_port 1 1 0");

    vela_handle *second = make_handle(types);
    EXPECT_EQ(find(second, port.info), record);
    vela_handle_destroy(second, nullptr);
    types.reset();
    EXPECT_EQ(record->variant_table->rows[1].created, 1u) << "mapped as long as a handle uses it";
    vela_handle_destroy(handle, nullptr);
    EXPECT_EQ(counts_of(open().get())[1], "ptp_port 1 1 0") << "the file stays";
}

TEST_F(shared_types_test, AModuleThatIsLoadedLaterEntersItsTypesOnce) {
    const shared_types types = make();
    vela_handle *first = make_handle(types);
    vela_handle *second = make_handle(types);
    EXPECT_EQ(find(second, later.info), nullptr);
    enter(first, later.info);
    const vela_type_info *record = find(second, later.info);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->variant_table->rows[2].created, 0u);
    enter(second, later.info);  // as if it had looked before the first was ready
    EXPECT_EQ(find(first, later.info), record);
    EXPECT_EQ(counts_of(types.get()).size(), 6u);
    // A record that others could not read is not taken.
    type_record own{"own", 1, "00000000000000000000000000000004"};
    second->type_table_insert(second->type_table_cookie, test_class, own.info.luid_text, &own.info);
    EXPECT_EQ(find(second, own.info), nullptr);
    vela_handle_destroy(first, nullptr);
    vela_handle_destroy(second, nullptr);
}

TEST_F(shared_types_test, HandlesThatDoNotFitAreRefused) {
    shared_types types = make(12 * 1024);
    vela_handle *handle = make_handle(types);
    ASSERT_NE(handle, nullptr) << err;
    while (handle->shared_alloc(handle->shared_alloc_cookie, 0, 64) != nullptr) {
        continue;
    }
    enter(handle, later.info);
    EXPECT_EQ(find(handle, later.info), nullptr);
    EXPECT_EQ(vela_type_info_ptr_get(handle, test_class, &later.info, nullptr), &later.info) << "its own then";
    vela_handle_destroy(handle, nullptr);

    types_of_module[1] = &later.info;
    EXPECT_EQ(make_handle(types), nullptr) << "the file is full";
    EXPECT_EQ(err, VELA_ENOMEM);
    types_of_module[1] = &clock.info;
    port.table.count = 3;
    err = 0;
    EXPECT_EQ(make_handle(types), nullptr) << "the file knows two variants";
    EXPECT_EQ(err, VELA_EINVAL);
    port.table.count = 1;
    err = 0;
    handle = make_handle(types);
    EXPECT_NE(handle, nullptr) << "older modules may use what newer ones entered";
    vela_handle_destroy(handle, nullptr);

    EXPECT_EQ(make_handle(read()), nullptr);
    EXPECT_EQ(err, VELA_EINVAL);
    vela_handle_options options = default_options();
    options.shared_types = types.get();
    options.shared_alloc = limited_alloc;
    err = 0;
    EXPECT_EQ(vela_handle_create(&options, &err), nullptr);
    EXPECT_EQ(err, VELA_EINVAL);
}

TEST_F(shared_types_test, TheLockSurvivesAProcessThatDiesWithIt) {
    make();
    EXPECT_EQ(in_another_process([this] {
                  const shared_types types = open();
                  pthread_mutex_lock(&types->file->lock);
                  types->file->used.fetch_add(64);
                  raise(SIGKILL);
                  return 0;
              }),
              -SIGKILL);
    const shared_types types = open();
    for (int i = 0; i < 2; ++i) {
        vela_handle *handle = make_handle(types);
        ASSERT_NE(handle, nullptr) << err;
        vela_handle_destroy(handle, nullptr);
    }
    EXPECT_EQ(counts_of(types.get()).size(), 3u);
}

TEST_F(shared_types_test, ProcessesThatEnterAtOnceAgree) {
    make();
    std::vector<std::unique_ptr<type_record>> many;
    for (int i = 0; i < 100; ++i) {
        char text[33];
        snprintf(text, sizeof text, "%032x", i + 100);
        many.push_back(std::make_unique<type_record>("many", 1, text));
    }
    std::vector<pid_t> children;
    for (int child = 0; child < 4; ++child) {
        children.push_back(fork());
        if (children.back() != 0) {
            continue;
        }
        alarm(30);
        const shared_types types = open();
        vela_handle *handle = make_handle(types);
        for (const auto &record : many) {
            if (find(handle, record->info) == nullptr) {
                enter(handle, record->info);
            }
            const vela_type_info *entered = find(handle, record->info);
            if (entered == nullptr || entered->variant_table == &record->table) {
                _exit(1);
            }
        }
        _exit(0);
    }
    for (const pid_t child : children) {
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(counts_of(read().get()).size(), 3 + many.size()) << "each once";
}

TEST(TypeCounts, WithoutAFileAreTheProcesssOwn) {
    type_record record("ptp_clock");
    vela_type_info *types[] = {&record.info, nullptr};
    vela_module module = {"module", types, nullptr, nullptr};
    vela_module_tot_root.first = &module;
    EXPECT_EQ(counts_of(nullptr), (std::vector<std::string>{"ptp_clock 0 3 2"}));
    vela_module_tot_root.first = nullptr;
    vela_shared_types_close(nullptr);
}

}  // namespace
}  // namespace velalib_test
