// The library as a module: loading and unloading, type registration and diagnosis.
//
// This program does not link the library, so that it can be loaded and unloaded.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstdarg>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <span>
#include <sstream>

#include "bitlog.h"
#include "elf_file.h"
#include "loaded_library.h"

namespace {
/** Calls of vela_update_variant_info, by their last argument. */
int merges[2];
/** Registrations with the trace facility that were asked for, and whether the next one is refused. */
int registrations = 0;
bool refuse_next_registration = false;
}  // namespace

/** Stands before the runtime's own, and counts. */
extern "C" void vela_update_variant_info(vela_handle *handle, u_int32 mem_class, vela_type_info *table_record,
                                         const vela_type_info *static_record, u_int32 inserted) {
    ++merges[inserted != 0];
    using function = void (*)(vela_handle *, u_int32, vela_type_info *, const vela_type_info *, u_int32);
    static const function next = reinterpret_cast<function>(dlsym(RTLD_NEXT, "vela_update_variant_info"));
    next(handle, mem_class, table_record, static_record, inserted);
}

/** Stands before the trace facility's own; refuses when told to. */
extern "C" uint32_t bitlog_module_init_fn(const char *module, uint16_t *module_id,
                                          const bitlog_descriptor *descriptor) {
    ++registrations;
    if (refuse_next_registration) {
        refuse_next_registration = false;
        return VELA_ENOMEM;
    }
    static const auto next = reinterpret_cast<decltype(&bitlog_module_init_fn)>(dlsym(RTLD_NEXT, __func__));
    return next(module, module_id, descriptor);
}

namespace ptp_cfg_test {
namespace {

// ---- the list of loaded modules --------------------------------------------------------------------------------------

TEST(module_test, links_at_load_and_unlinks_at_unload_however_often) {
    EXPECT_EQ(linked_modules(), names{});
    for (int i = 0; i < 3; ++i) {
        loaded_library library;
        EXPECT_EQ(linked_modules(), names{"ptp_cfg"});
        loaded_library again;
        EXPECT_EQ(linked_modules(), names{"ptp_cfg"});
        library.close();
        EXPECT_EQ(linked_modules(), names{"ptp_cfg"});
        again.close();
        EXPECT_EQ(dlopen(PTP_CFG_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it cannot be unloaded";
        EXPECT_EQ(linked_modules(), names{});
    }
}

TEST(module_test, unlinks_from_between_others) {
    vela_module before = {"before", nullptr, nullptr, &vela_module_tot_root.first};
    vela_module after = {"after", nullptr, nullptr, nullptr};
    vela_module_tot_root = {1, &before, &before.next};
    loaded_library library;
    after.previous_next = vela_module_tot_root.last_next;
    *vela_module_tot_root.last_next = &after;
    vela_module_tot_root.last_next = &after.next;
    ++vela_module_tot_root.count;
    EXPECT_EQ(linked_modules(), (names{"before", "ptp_cfg", "after"}));
    library.close();
    EXPECT_EQ(linked_modules(), (names{"before", "after"}));
    vela_module_tot_root = {0, nullptr, &vela_module_tot_root.first};
}

TEST(module_test, a_constructor_that_runs_twice_links_once) {
#ifdef PTP_CFG_SANITIZED
    GTEST_SKIP() << "the sanitizer's own constructors cannot run twice";
#endif
    loaded_library library;
    library.run_constructors();
    EXPECT_EQ(linked_modules(), names{"ptp_cfg"});
    library.run_destructors();
    EXPECT_EQ(linked_modules(), names{});
    library.run_destructors();
    library.run_constructors();
    EXPECT_EQ(linked_modules(), names{}) << "a module that has been unlinked stays so";
    library.close();
    EXPECT_EQ(linked_modules(), names{});
}

// ---- type-information records -------------------------------------------------------------------------------------------

TEST(module_test, what_failed_is_named_while_the_library_is_loaded) {
    loaded_library library;
    u_int32 err = 0;
    vela_handle *handle = vela_handle_create(nullptr, &err);
    using copy = void(vela_handle *, u_int32, void *, const void *, u_int32 *);
    library.find<copy>("ptp_clock_accuracy_set")(handle, 0, nullptr, nullptr, &err);
    char text[200];
    vela_error_text(handle, err, text, sizeof text);
    EXPECT_STREQ(text, "22 (VELA_EINVAL): ptp_clock_accuracy_set: an instance is null");
    library.close();
    vela_error_text(handle, err, text, sizeof text);
    EXPECT_STREQ(text, "22 (VELA_EINVAL): an argument that is not valid, such as a null instance");
    vela_handle_destroy(handle, nullptr);
}

TEST(module_test, records_of_all_types) {
    static_assert(sizeof(vela_type_info) == 272 && sizeof(vela_type_info_copy) == 288);
    loaded_library library;
    const std::vector<vela_type_info *> all = records();
    ASSERT_EQ(all.size(), type_count);
    std::set<std::string> luids;
    for (size_t i = 0; i < all.size(); ++i) {
        const vela_type_info &record = *all[i];
        SCOPED_TRACE(record.type_name);
        EXPECT_EQ(record.magic, 0xbeeff00du);
        EXPECT_STREQ(record.module_name, "ptp_cfg");
        EXPECT_STREQ(record.kind, i < structure_count                       ? "type"
                                  : i < structure_count + enumeration_count ? "enum"
                                                                            : "message");
        EXPECT_EQ(record.signed_word, -1);
        EXPECT_EQ(record.shared, 0u);
        char text[33];
        for (size_t byte = 0; byte < sizeof record.luid; ++byte) {
            snprintf(text + 2 * byte, 3, "%02x", record.luid[byte]);
        }
        EXPECT_STREQ(record.luid_text, text);
        EXPECT_TRUE(luids.insert(text).second);
        const std::string symbol = std::string("_") + record.type_name + "_type_info_internal";
        EXPECT_EQ(library.find<vela_type_info>(symbol.c_str()), &record);
        ASSERT_NE(record.variant_table, nullptr);
        for (int row = 0; row < record.variant_table->count; ++row) {
            EXPECT_EQ(record.variant_table->rows[row].variant, static_cast<u_int32>(row));
            EXPECT_EQ(record.variant_table->rows[row].reserved, 0u);
        }
    }
}

std::string printed;

int print(const char *format, ...) {
    char line[128];
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    printed += line;
    return length;
}

TEST(module_test, variant_dump_prints_a_row_per_variant) {
    printed.clear();
    loaded_library library;
    auto *dump = library.find<void(ptp_cfg_print_fn)>("ptp_cfg_type_variant_dump");
    dump(&print);
    // Only types with several variants: each as its used lengths and what is left of the instance.
    using text = std::string;
    EXPECT_NE(printed.find("n_variants 3\n"
                           "variant 0 used length 14 alloc slop 26\n"
                           "variant 1 used length 22 alloc slop 18\n"
                           "variant 2 used length 28 alloc slop 12\n"),
              text::npos);
    EXPECT_NE(printed.find("n_variants 2\n"
                           "variant 0 used length 264 alloc slop 24\n"
                           "variant 1 used length 268 alloc slop 20\n"),
              text::npos);
    EXPECT_NE(printed.find("n_variants 3\n"
                           "variant 0 used length 52 alloc slop 116\n"
                           "variant 1 used length 54 alloc slop 114\n"
                           "variant 2 used length 152 alloc slop 16\n"),
              text::npos);
    std::map<text, int> lines;
    std::istringstream stream(printed);
    for (text line; std::getline(stream, line);) {
        ++lines[line];
    }
    std::map<text, int> expected;
    for (const auto &types :
         {std::span<const oracle::type>(oracle::structures), std::span<const oracle::type>(oracle::enumerations),
          std::span<const oracle::type>(oracle::messages)}) {
        for (const oracle::type &type : types) {
            ++expected["n_variants " + std::to_string(type.latest + 1)];
        }
    }
    for (const auto &[line, count] : expected) {
        EXPECT_EQ(lines[line], count) << line;
    }
    EXPECT_EQ(lines["variant 0 used length 16 alloc slop 0"], static_cast<int>(enumeration_count));
    EXPECT_EQ(lines["variant 0 used length 40 alloc slop 0"] + lines["variant 0 used length 48 alloc slop 0"],
              static_cast<int>(message_count));

    // A record without a table is traced, and the others are printed all the same.
    vela_type_info &damaged = *records()[3];
    vela_variant_table *table = damaged.variant_table;
    damaged.variant_table = nullptr;
    static std::vector<text> traces;
    traces.clear();
    bitlog_set_sink(
        [](void *, const bitlog_record *record) {
            char traced[128];
            bitlog_format(record, traced, sizeof traced);
            traces.push_back(text(bitlog_level_name(record->level)) + ": " + traced);
        },
        nullptr);
    library.find<void()>("vela_ptp_cfg_trace_init")();
    const text complete = printed;
    printed.clear();
    dump(&print);
    bitlog_set_sink(nullptr, nullptr);
    damaged.variant_table = table;
    EXPECT_EQ(traces, (std::vector<text>{"error: type variant cached info is NULL during usage dump"}));
    const auto last_lines = [](const text &whole) { return whole.substr(whole.size() - 1000); };
    EXPECT_EQ(last_lines(printed), last_lines(complete));
    EXPECT_LT(printed.size(), complete.size());
}

TEST(module_test, what_is_traced_before_any_instance_has_its_text) {
    loaded_library library;
    static std::string traced;
    bitlog_set_sink(
        [](void *, const bitlog_record *record) {
            char text[128];
            bitlog_format(record, text, sizeof text);
            const char *module = bitlog_module_name(record->module_id);
            traced = std::string(module != nullptr ? module : "no module") + ": " + text;
        },
        nullptr);
    using set_embedded = void(vela_handle *, u_int32, void *);
    library.find<set_embedded>("ptp_clock_quality_set_instance_embedded")(nullptr, 0, nullptr);
    bitlog_set_sink(nullptr, nullptr);
    EXPECT_EQ(traced, "vela_ptp_cfg: Invalid object pointer passed in to set instance flag");
}

TEST(module_test, a_trace_facility_that_refused_at_load_is_asked_again_by_create) {
    for (const std::string type : {"ptp_clock_quality", "ptp_clock_delete_cmd_message"}) {
        refuse_next_registration = true;
        registrations = 0;
        loaded_library library;
        EXPECT_EQ(registrations, 1);
        u_int32 err = 0;
        vela_handle *handle = vela_handle_create(nullptr, &err);
        const auto create = library.find<void *(vela_handle *, u_int32)>((type + "_create").c_str());
        const auto destroy = library.find<void(vela_handle *, u_int32, void *)>((type + "_destroy").c_str());
        for (int life = 0; life < 2; ++life) {
            destroy(handle, 0, create(handle, 0));
            EXPECT_EQ(registrations, 2) << type;
        }
        vela_handle_destroy(handle, nullptr);
    }
}

// ---- a handle's type table ------------------------------------------------------------------------------------------------

/** A type table and its memory, counted. */
struct counting_table {
    std::map<std::string, vela_type_info *> entries;
    std::vector<std::unique_ptr<vela_type_info_copy>> copies;
    int lookups = 0;
    int allocations_left = -1;

    static void *allocate(void *cookie, u_int32 mem_class, size_t size) {
        counting_table &table = *static_cast<counting_table *>(cookie);
        EXPECT_EQ(mem_class, 0xFFFFFFFFu);
        EXPECT_EQ(size, 288u);
        if (table.allocations_left == 0) {
            return nullptr;
        }
        --table.allocations_left;
        table.copies.push_back(std::make_unique<vela_type_info_copy>());
        memset(table.copies.back().get(), 0xA5, sizeof(vela_type_info_copy));
        return table.copies.back().get();
    }
    static void insert(void *cookie, u_int32 mem_class, const char *luid_text, vela_type_info *record) {
        counting_table &table = *static_cast<counting_table *>(cookie);
        EXPECT_EQ(mem_class, 7u);
        EXPECT_EQ(luid_text, record->luid_text) << "the key must live as long as the entry";
        EXPECT_TRUE(table.entries.emplace(luid_text, record).second);
    }
    static vela_type_info *lookup(void *cookie, u_int32 mem_class, const char *luid_text) {
        counting_table &table = *static_cast<counting_table *>(cookie);
        EXPECT_EQ(mem_class, 7u);
        ++table.lookups;
        const auto found = table.entries.find(luid_text);
        return found == table.entries.end() ? nullptr : found->second;
    }
};

class type_table_test : public testing::TestWithParam<u_int32> {
  public:
    ~type_table_test() override { vela_handle_destroy(handle, nullptr); }

  protected:
    type_table_test() {
        u_int32 err = 0;
        handle = vela_handle_create(nullptr, &err);
        handle->shared_alloc = &counting_table::allocate;
        handle->shared_alloc_cookie = &table;
        handle->type_table_insert = &counting_table::insert;
        handle->type_table_lookup = &counting_table::lookup;
        handle->type_table_cookie = &table;
        handle->shared_type_info = GetParam();
        merges[0] = merges[1] = 0;
    }
    void initialize(u_int32 *err) {
        library.find<void(vela_handle *, u_int32, u_int32 *)>("ptp_cfg_typeinfo_initialize")(handle, 7, err);
    }

    loaded_library library;
    counting_table table;
    vela_handle *handle;
};

TEST_P(type_table_test, every_record_is_entered_once) {
    u_int32 err = 77;  // not read on entry
    records()[0]->signed_word = 5;
    initialize(&err);
    records()[0]->signed_word = -1;
    EXPECT_EQ(err, 77u);
    EXPECT_EQ(table.entries.size(), type_count);
    EXPECT_EQ(table.lookups, static_cast<int>(type_count));
    EXPECT_EQ(merges[1], static_cast<int>(type_count));
    EXPECT_EQ(merges[0], 0);
    for (const vela_type_info *record : records()) {
        const vela_type_info_copy *copy = reinterpret_cast<vela_type_info_copy *>(table.entries[record->luid_text]);
        EXPECT_EQ(memcmp(&copy->info, record, offsetof(vela_type_info, variant_table)), 0);
        EXPECT_EQ(copy->info.variant_table == record->variant_table, GetParam() == 0);
        EXPECT_EQ(copy->info.shared, GetParam());
        EXPECT_EQ(copy->word[0] | copy->word[1], 0u);
    }

    initialize(&err);
    EXPECT_EQ(table.copies.size(), type_count);
    EXPECT_EQ(merges[1], static_cast<int>(type_count));
    EXPECT_EQ(merges[0], static_cast<int>(type_count));
}

TEST_P(type_table_test, without_memory_what_was_entered_stays) {
    u_int32 err = 0;
    table.allocations_left = 50;
    initialize(&err);
    EXPECT_EQ(err, u_int32{VELA_ENOMEM});
    EXPECT_EQ(handle->last_error.code, u_int32{VELA_ENOMEM});
    EXPECT_EQ(table.entries.size(), 50u);
    table.allocations_left = -1;
    merges[0] = merges[1] = 0;
    initialize(&err);
    EXPECT_EQ(table.entries.size(), type_count);
    EXPECT_EQ(merges[0], 50);
    EXPECT_EQ(merges[1], static_cast<int>(type_count) - 50);
}

INSTANTIATE_TEST_SUITE_P(module_test, type_table_test, testing::Values(0u, 1u));

}  // namespace
}  // namespace ptp_cfg_test
