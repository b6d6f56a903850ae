// Sixteen threads, a handle each: every type goes through all that it can do, and comes out as it does alone.
#include <algorithm>
#include <barrier>
#include <numeric>
#include <thread>

#include "dispatch.h"
#include "ptp_cfg/json.h"
#include "ptp_cfg/messages.h"

/** The program's one handler: counts what it is given in the context. */
void ptp_cfg_ptp_clock_delete_cmd_message_handler(vela_handle *handle, u_int32 mem_class, void *context,
                                                  ptp_clock_delete_cmd_message *message, u_int32 *) {
    ++*static_cast<u_int32 *>(context);
    ptp_clock_delete_cmd_message_destroy(handle, mem_class, message);
}

namespace ptp_cfg_test {
namespace {

constexpr u_int32 thread_count = 16;

/** What a record became in each form. */
struct outcome {
    std::vector<octets> bytes;
    std::vector<std::string> texts;
    std::vector<u_int32> numbers;
    bool operator==(const outcome &) const = default;
};

void through_json(const record_type &type, vela_handle *handle, void *instance, outcome &out) {
    u_int32 err = 0;
    std::string text(ptp_cfg_to_json(handle, mem_class, type.type, instance, nullptr, 0, nullptr, &err), ' ');
    err = 0;
    ptp_cfg_to_json(handle, mem_class, type.type, instance, text.data(), static_cast<u_int32>(text.size()), nullptr,
                    &err);
    const auto read = hold(
        handle,
        ptp_cfg_from_json(handle, mem_class, type.type, nullptr, text.data(), text.size(), nullptr, &err, nullptr, 0),
        type.operations->destroy);
    EXPECT_EQ(err, 0u) << type.about.name;
    out.bytes.push_back(type.marshal(handle, read.get()));
    out.texts.push_back(text);
}

void through_xml(const record_type &type, vela_handle *handle, void *instance, outcome &out) {
    const std::string text = type.to_xml(handle, instance);
    const document parsed = parse_xml(text);
    const owned<void> read = type.create(handle);
    u_int32 err = 0;
    const std::string path = std::string("//") + type.about.name;
    type.operations->from_xml(handle, mem_class, path.c_str(), parsed.get(), read.get(), &err, nullptr, 0);
    EXPECT_EQ(err, 0u) << type.about.name;
    out.bytes.push_back(type.marshal(handle, read.get()));
    out.texts.push_back(text);
}

void live_as_structure(const record_type &type, vela_handle *handle, outcome &out) {
    const owned<void> instance = type.create(handle);
    fill(type, handle, instance.get(), filling::random, 7);
    out.bytes.push_back(type.marshal(handle, instance.get()));
    const owned<void> decoded = type.unmarshal(handle, out.bytes.back());
    EXPECT_EQ(type.operations->compare(instance.get(), decoded.get()), 0) << type.about.name;
    out.numbers.push_back(type.operations->hash(decoded.get(), 3));
    u_int32 err = 0;
    const auto clone =
        hold(handle, type.operations->clone(handle, mem_class, instance.get(), &err), type.operations->destroy);
    out.bytes.push_back(type.marshal(handle, clone.get()));
    std::string printed(1u << 17, ' ');
    printed.resize(type.operations->print(handle, mem_class, printed.data(), instance.get(), 1u << 17, &err));
    out.texts.push_back(printed);
    EXPECT_EQ(err, 0u) << type.about.name;
    through_json(type, handle, instance.get(), out);
    through_xml(type, handle, instance.get(), out);
}

void live_as_message(const record_type &type, vela_handle *handle, outcome &out) {
    const owned<void> message = type.create(handle);
    fill(type, handle, message.get(), filling::random, 7);
    out.bytes.push_back(type.marshal(handle, message.get()));
    const octets &bytes = out.bytes.back();
    const owned<void> decoded = type.unmarshal(handle, bytes);
    u_int32 err = 0, taken = 0;
    out.numbers.push_back(
        ptp_cfg_dispatch_bundle(handle, mem_class, destroy_it, nullptr, bytes.data(), size_of(bytes), nullptr, &err));
    EXPECT_EQ(err, 0u) << type.about.name;
    ptp_cfg_dispatch(handle, mem_class, &taken, nullptr, nullptr, bytes.data(), size_of(bytes), &err);
    out.numbers.insert(out.numbers.end(), {err, taken});
    through_json(type, handle, message.get(), out);
}

/** The kinds of handle that threads have at the same time; the domain is one that all of them read. */
const handle_settings &settings_of(u_int32 thread) {
    static const level_domain oldest(0);
    static const std::vector<handle_settings> kinds = {
        {.domain = nullptr},
        {.tracking = VELA_STTR_ON},
        {.domain = oldest.get()},
        {.shared = true},
        {.tracking = VELA_STTR_OFF, .shared = true, .domain = oldest.get()}};
    return kinds[thread % kinds.size()];
}

const std::vector<record_type> &all_types() {
    static const std::vector<record_type> types = [] {
        std::vector<record_type> result = record_types(PTP_CFG_STRUCTURE);
        std::ranges::copy(record_types(PTP_CFG_MESSAGE), std::back_inserter(result));
        return result;
    }();
    return types;
}

using counts = std::vector<u_int64>;

/** All counters of the type_infos that `record_of` knows. */
template <class RecordOf>
counts counters(RecordOf record_of) {
    counts result;
    for (u_int32 i = 0; i < ptp_cfg_type_count(); ++i) {
        const vela_variant_table &table = *record_of(static_record(ptp_cfg_type_at(i))).variant_table;
        for (int row = 0; row < table.count; ++row) {
            result.insert(result.end(), {table.rows[row].created, table.rows[row].destroyed});
        }
    }
    return result;
}

counts process_counters() {
    return counters([](vela_type_info &own) -> vela_type_info & { return own; });
}

struct life {
    outcome made;
    counts own;  // counters of a handle with type information of its own
};

/** What a handle of the thread's kind makes of every type, which each thread comes to in another order. */
life live(
    u_int32 thread, const std::function<void()> &begin = [] {}) {
    const handle_settings &settings = settings_of(thread);
    const test_handle handle(settings);
    std::vector<outcome> outcomes(all_types().size());
    begin();
    for (size_t i = 0; i < outcomes.size(); ++i) {
        const size_t which = (i + thread * 7) % outcomes.size();
        const record_type &type = all_types()[which];
        const auto go = type.about.kind == PTP_CFG_MESSAGE ? live_as_message : live_as_structure;
        go(type, handle, outcomes[which]);
    }
    life result;
    for (outcome &each : outcomes) {
        std::ranges::move(each.bytes, std::back_inserter(result.made.bytes));
        std::ranges::move(each.texts, std::back_inserter(result.made.texts));
        std::ranges::move(each.numbers, std::back_inserter(result.made.numbers));
    }
    if (settings.shared) {
        result.own = counters([&](vela_type_info &own) -> vela_type_info & {
            vela_type_info *found = handle->type_table_lookup(handle->type_table_cookie, mem_class, own.luid_text);
            return found != nullptr ? *found : own;
        });
    }
    return result;
}

counts minus(counts a, const counts &b) {
    std::ranges::transform(a, b, a.begin(), std::minus());
    return a;
}

TEST(records_in_threads, each_type_does_what_it_does_alone_and_every_counter_is_exact) {
    std::vector<life> alone;
    counts expected(process_counters().size());
    for (u_int32 thread = 0; thread < thread_count; ++thread) {
        const counts before = process_counters();
        alone.push_back(live(thread));
        const counts steps = minus(process_counters(), before);
        std::ranges::transform(expected, steps, expected.begin(), std::plus());
    }
    const counts before = process_counters();
    std::barrier<> together(thread_count);
    std::vector<life> lives(thread_count);
    std::vector<std::thread> threads;
    for (u_int32 thread = 0; thread < thread_count; ++thread) {
        threads.emplace_back([&, thread] { lives[thread] = live(thread, [&] { together.arrive_and_wait(); }); });
    }
    for (std::thread &each : threads) {
        each.join();
    }
    EXPECT_EQ(minus(process_counters(), before), expected);
    for (u_int32 thread = 0; thread < thread_count; ++thread) {
        EXPECT_TRUE(lives[thread].made == alone[thread].made) << "thread " << thread;
        EXPECT_EQ(lives[thread].own, alone[thread].own) << "thread " << thread;
    }
}

}  // namespace
}  // namespace ptp_cfg_test
