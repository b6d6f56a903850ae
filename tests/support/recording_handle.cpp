// Handles whose hooks write down each call.
#include "recording_handle.h"

#include <dlfcn.h>

#include <cstdlib>
#include <cstring>
#include <ostream>
#include <regex>

#include "ptp_cfg/module.h"

namespace ptp_cfg_test {

std::ostream &operator<<(std::ostream &out, const range &bytes) {
    return out << "(" << bytes.offset << ", " << bytes.length << ")";
}

// ---- hooks ---------------------------------------------------------------------------------------------------------

void *family_test::allocate(void *cookie, u_int32 mem_class, size_t size) {
    family_test &test = *static_cast<family_test *>(cookie);
    EXPECT_EQ(mem_class, test.expected_class) << "of an allocation";
    if (test.allocations_until_failure > 0 && --test.allocations_until_failure == 0) {
        return nullptr;
    }
    void *memory = std::malloc(size);
    std::memset(memory, 0xA5, size);
    test.blocks[memory] = size;
    if (test.watching_new_blocks) {
        test.watch(memory, size);
        test.regions.back().last.assign(size, 0);
    }
    return memory;
}

void family_test::release(void *cookie, u_int32 mem_class, void *memory) {
    family_test &test = *static_cast<family_test *>(cookie);
    EXPECT_EQ(mem_class, test.expected_class) << "of a release";
    const size_t size = test.block_size(memory);
    if (test.blocks.erase(memory) == 0) {
        ADD_FAILURE() << "released a block that is not out: " << memory;
        return;
    }
    if (watched *region = test.find(memory); region != nullptr) {
        test.settle(*region);
        region->alive = false;
    }
    if (size >= sizeof test.first_word_released) {  // else characters
        std::memcpy(&test.first_word_released, memory, sizeof test.first_word_released);
    }
    std::free(memory);
}

void family_test::before_write(void *cookie, void *address, size_t length, u_int32 mem_class) {
    family_test &test = *static_cast<family_test *>(cookie);
    EXPECT_EQ(mem_class, test.expected_class) << "of an announcement";
    u_int8 *first = static_cast<u_int8 *>(address);
    bool found = false;
    for (watched &region : test.regions) {
        if (!region.alive) {
            continue;
        }
        test.settle(region);
        region.may_change.assign(region.last.size(), false);
        if (first < region.address || first >= region.address + region.last.size()) {
            continue;
        }
        found = true;
        const size_t offset = distance(region.address, first);
        EXPECT_LE(offset + length, region.last.size()) << "an announcement reaches beyond its instance";
        for (size_t i = offset; i < offset + length && i < region.last.size(); ++i) {
            region.may_change[i] = true;
        }
        region.announced.push_back({offset, length});
    }
    test.notified_elsewhere += found ? 0 : 1;
}

void family_test::before_count(void *cookie, void *address, size_t length, u_int32 mem_class) {
    family_test &test = *static_cast<family_test *>(cookie);
    EXPECT_EQ(mem_class, test.expected_class) << "of a counter's announcement";
    const u_int64 *counter = static_cast<const u_int64 *>(address);
    if (test.last_counted != nullptr) {
        *test.last_counted = counter;
    }
    test.counters.push_back({counter, *counter, length, test.traces.size()});
}

void family_test::receive_trace(void *cookie, const bitlog_record *record) {
    family_test &test = *static_cast<family_test *>(cookie);
    char text[512];
    bitlog_format(record, text, sizeof text);
    EXPECT_NE(record->module_id, 0);
    EXPECT_LT(record->number - record->points->first_number, record->points->count);
    if (record->level == BITLOG_DEBUG && std::regex_match(text, std::regex("\\w+ refused: error \\d+ is present"))) {
        test.refused.emplace_back(text);
        return;
    }
    test.traces.push_back(
        {record->points->subject, record->number - record->points->first_number, record->level, text});
    if (record->level == BITLOG_EMERGENCY) {
        fprintf(stderr, "%s: %s\n", record->points->subject, text);  // for those who watch a process die
    }
}

// ---- the fixture -----------------------------------------------------------------------------------------------------

family_test::family_test() {
    vela_ptp_cfg_trace_init();
    bitlog_set_sink(&receive_trace, this);
    open(0);
}

family_test::~family_test() {
    close();
    bitlog_set_sink(nullptr, nullptr);
}

void family_test::open(u_int32 tracking, u_int32 shared_type_info, const vela_domain *domain) {
    close();
    vela_handle_options options = {};
    options.size = sizeof options;
    options.alloc = &allocate;
    options.free = &release;
    options.cookie = this;
    options.pre_write = hooks.writes ? &before_write : nullptr;
    options.pre_write_counter = hooks.counters ? &before_count : nullptr;
    options.tracking = tracking;
    options.shared_type_info = shared_type_info;
    options.domain = domain;
    handle = vela_handle_create(&options, &err);
    ASSERT_EQ(err, 0u);
    handle->chained_mem_class = chained_class;
    forget_counted();
}

void family_test::use_hooks(const hook_set &wanted) {
    hooks = wanted;
    open(0);
}

void family_test::close() {
    vela_handle_report left = {};
    vela_handle_destroy(handle, &left);
    handle = nullptr;
    regions.clear();
    counters.clear();
}

void family_test::TearDown() {
    expect_ok();
    expect_no_trace();
    EXPECT_EQ(blocks.size(), 0u) << "blocks were never released";
}

owned<void> family_test::create(const ptp_cfg_type *type) {
    const ptp_cfg_operations *operations = describe(type).operations;
    return own(operations->create(handle, test_class), operations->destroy);
}

size_t family_test::block_size(const void *block) const {
    const auto found = blocks.find(block);
    return found == blocks.end() ? 0 : found->second;
}

// ---- announcements -----------------------------------------------------------------------------------------------------

/** The watched region that begins at an address, or nullptr. */
family_test::watched *family_test::find(const void *instance) {
    for (watched &region : regions) {
        if (region.address == instance) {
            return &region;
        }
    }
    return nullptr;
}

void family_test::watch(void *instance, size_t size) {
    u_int8 *first = static_cast<u_int8 *>(instance);
    std::erase_if(regions, [&](const watched &region) { return region.address == first; });
    regions.push_back({first, {first, first + size}, std::vector<bool>(size), {}, std::vector<bool>(size), true});
    notified_elsewhere = 0;
}

/** Notes which bytes have changed without being covered by the last announcement. */
void family_test::settle(watched &region) {
    for (size_t i = 0; region.alive && i < region.last.size(); ++i) {
        if (region.address[i] != region.last[i]) {
            region.last[i] = region.address[i];
            region.silent[i] = region.silent[i] || !region.may_change[i];
        }
    }
}

/** Takes the bytes of a range out of a set; whether there were any. */
static bool take(std::vector<bool> &bytes, const range &taken) {
    bool any = false;
    for (size_t i = taken.offset; i < taken.offset + taken.length && i < bytes.size(); ++i) {
        any = any || bytes[i];
        bytes[i] = false;
    }
    return any;
}

void family_test::expect_notified(const void *instance, const std::vector<range> &wanted,
                                  const std::vector<range> &silent) {
    watched *region = find(instance);
    ASSERT_NE(region, nullptr) << "not watched";
    settle(*region);
    if (!hooks.writes) {
        region->silent.assign(region->last.size(), false);
        return;
    }
    EXPECT_EQ(region->announced, wanted);
    for (const range &bytes : silent) {
        EXPECT_TRUE(take(region->silent, bytes)) << bytes << " did not change";
    }
    for (size_t i = 0; i < region->silent.size(); ++i) {
        EXPECT_FALSE(region->silent[i]) << "byte " << i << " changed without announcement";
    }
    EXPECT_EQ(notified_elsewhere, 0u);
    region->announced.clear();
    region->may_change.assign(region->last.size(), false);
    region->silent.assign(region->last.size(), false);
    notified_elsewhere = 0;
}

std::vector<range> family_test::take_notified(const void *instance) {
    watched *region = find(instance);
    if (region == nullptr) {
        ADD_FAILURE() << "not watched";
        return {};
    }
    settle(*region);
    const std::vector<range> announced = region->announced;
    expect_notified(instance, announced);
    return announced;
}

void family_test::expect_untouched() {
    for (const watched &region : regions) {
        if (region.alive) {
            expect_notified(region.address, {});
        }
    }
}

// ---- errors, traces, counters --------------------------------------------------------------------------------------------

void family_test::expect_error(u_int32 code, bool epoch) {
    EXPECT_EQ(err, code);
    EXPECT_EQ(handle->last_error.code, code);
    EXPECT_EQ(handle->last_error.epoch != 0, epoch);
    err = 0;
    vela_clear_last_error(handle);
}

void family_test::expect_chained_error(u_int32 code) {
    EXPECT_EQ(handle->chained_err, code);
    EXPECT_EQ(handle->last_error.code, code);
    handle->chained_err = 0;
    vela_clear_last_error(handle);
}

void family_test::expect_ok() {
    EXPECT_EQ(err, 0u);
    EXPECT_EQ(handle->chained_err, 0u);
    EXPECT_EQ(handle->last_error.code, 0u);
    err = 0;
}

void family_test::expect_trace(const std::string &subject, u_int32 level, const std::string &text, int position) {
    ASSERT_FALSE(traces.empty()) << "not traced: " << text;
    const traced seen = traces.front();
    traces.erase(traces.begin());
    EXPECT_EQ(seen.subject, subject);
    EXPECT_EQ(seen.level, level) << bitlog_level_name(seen.level);
    EXPECT_EQ(seen.text, text);
    if (position >= 0) {
        EXPECT_EQ(seen.position, static_cast<u_int32>(position));
    }
}

void family_test::expect_no_trace() {
    for (const traced &trace : traces) {
        ADD_FAILURE() << "traced unseen by " << trace.subject << ": " << trace.text;
    }
    traces.clear();
}

void family_test::expect_counted(const u_int64 *counter) {
    if (!hooks.counters) {
        u_int64 &expected = expected_counters[counter];
        EXPECT_GE(*counter, ++expected) << "a counter stands still";
        return;
    }
    ASSERT_FALSE(counters.empty()) << "no counter was announced";
    EXPECT_EQ(counters.front().counter, counter);
    EXPECT_EQ(counters.front().length, 1u);
    EXPECT_EQ(*counter, counters.front().before + 1);
    counters.erase(counters.begin());
}

void family_test::expect_counted_after_a_trace(const u_int64 *counter) {
    EXPECT_TRUE(!hooks.counters || (!counters.empty() && counters.front().traces == 1));
    expect_counted(counter);
}

void family_test::expect_none_counted() {
    EXPECT_EQ(steps_counted(), 0u);
    forget_counted();
}

u_int64 family_test::steps_counted() const {
    u_int64 steps = counters.size();
    for (const auto &[counter, expected] : expected_counters) {
        steps += *counter - expected;
    }
    return steps;
}

void family_test::forget_counted() {
    counters.clear();
    expected_counters.clear();
    for (u_int32 i = 0; !hooks.counters && i < ptp_cfg_type_count(); ++i) {
        const vela_variant_table &table = *static_record(ptp_cfg_type_at(i)).variant_table;
        for (int row = 0; row < table.count; ++row) {
            expected_counters[&table.rows[row].created] = table.rows[row].created;
            expected_counters[&table.rows[row].destroyed] = table.rows[row].destroyed;
        }
    }
}

// ---- types ---------------------------------------------------------------------------------------------------------------

ptp_cfg_type_description describe(const ptp_cfg_type *type) {
    ptp_cfg_type_description description;
    ptp_cfg_type_describe(type, &description);
    return description;
}

ptp_cfg_field_description describe_field(const ptp_cfg_type *type, u_int32 index) {
    ptp_cfg_field_description description = {};
    EXPECT_EQ(ptp_cfg_field_describe(type, index, &description), 1u);
    return description;
}

std::vector<const ptp_cfg_type *> types_of(ptp_cfg_type_kind kind) {
    std::vector<const ptp_cfg_type *> types;
    for (u_int32 i = 0; i < ptp_cfg_type_count(); ++i) {
        if (describe(ptp_cfg_type_at(i)).kind == kind) {
            types.push_back(ptp_cfg_type_at(i));
        }
    }
    return types;
}

vela_type_info &static_record(const ptp_cfg_type *type) {
    const std::string name = std::string("_") + describe(type).name + "_type_info_internal";
    void *record = dlsym(RTLD_DEFAULT, name.c_str());
    EXPECT_NE(record, nullptr) << name;
    return *static_cast<vela_type_info *>(record);
}

void for_each_header(const ptp_cfg_type *type, vela_handle *handle, void *instance,
                     const std::function<void(const ptp_cfg_type *, void *)> &visit) {
    visit(type, instance);
    for (u_int32 i = 0; i < describe(type).field_count; ++i) {
        const ptp_cfg_field_description field = describe_field(type, i);
        const bool nested = field.kind == PTP_CFG_FIELD_STRUCTURE || field.kind == PTP_CFG_FIELD_ENUMERATION;
        for (u_int32 element = 0; nested && element < field.capacity; ++element) {
            u_int32 err = 0;
            for_each_header(field.type, handle, ptp_cfg_field_get(type, i, handle, test_class, instance, element, &err),
                            visit);
        }
    }
}

const ptp_cfg_type *type_named(const char *name) {
    const ptp_cfg_type *type = ptp_cfg_type_find(name);
    EXPECT_NE(type, nullptr) << name;
    return type;
}

old_domain::old_domain(std::initializer_list<std::pair<const char *, int8>> variants)
    : domain_(vela_domain_create("old peer")) {
    for (const auto &[type, variant] : variants) {
        set(type, variant);
    }
}

void old_domain::set(const char *type, int8 variant) { EXPECT_EQ(vela_domain_set_variant(domain_, type, variant), 0u); }

}  // namespace ptp_cfg_test
