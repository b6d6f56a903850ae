// Values, state flags, announcements and counters over random sequences of operations, beside a model of them.
#include <algorithm>
#include <array>
#include <cstring>
#include <map>
#include <sstream>

#include "model.h"
#include "steps.h"

namespace ptp_cfg_test {
namespace {

constexpr size_t slot_count = 3;

struct handle_kind {
    const char *name;
    u_int32 tracking;
    bool has_write_hook;
    bool has_own_types;
    const char *domain;  // nullptr, or a domain in which all is at its newest, which takes other ways
};

/** Runs one sequence, and stops at the first thing that is not as the model has it. */
class run {
  public:
    explicit run(const handle_kind &kind) : kind_(kind), newest_(127) {
        vela_handle_options options = {};
        options.size = sizeof options;
        options.tracking = kind.tracking;
        options.shared_type_info = kind.has_own_types ? 1 : 0;
        options.cookie = this;
        options.pre_write = kind.has_write_hook ? before_write : nullptr;
        options.domain = kind.domain != nullptr ? newest_.get() : nullptr;
        u_int32 err = 0;
        handle_ = vela_handle_create(&options, &err);
        for (const ptp_cfg_type *type : types_of(PTP_CFG_STRUCTURE)) {
            counters_[type] = count_of(type);
        }
    }
    run(const run &) = delete;
    run &operator=(const run &) = delete;
    ~run() { vela_handle_destroy(handle_, nullptr); }

    std::optional<std::string> all(const steps &sequence) {
        for (size_t i = 0; i < sequence.size() && fault_.empty(); ++i) {
            announced_.clear();
            take(sequence[i]);
            check();
        }
        for (modelled_instance &each : slots_) {
            destroy(each);
        }
        vela_handle_report report = {};
        vela_handle_destroy(std::exchange(handle_, nullptr), &report);
        require(report.blocks == 0, "blocks were left behind");
        return fault_.empty() ? std::nullopt : std::optional(fault_);
    }

    /** The sequence in words, for people. */
    static std::string tell(const steps &sequence) {
        static constexpr std::array<const char *, action_count> names = {
            "create", "destroy", "set_value", "set_flag", "set_whole_flag", "copy", "decode", "switch_tracking"};
        std::ostringstream out;
        for (const step &each : sequence) {
            const std::vector<modelled_type> &types = modelled_types();
            out << "    " << names[static_cast<size_t>(each.what)] << " slot " << each.slot % slot_count;
            if (each.what == action::create) {
                out << ": " << types[each.other % types.size()].about.name;
            } else if (each.what == action::copy || each.what == action::decode) {
                out << " from " << each.other % slot_count;
            } else {
                out << ": place " << each.place << ", value " << each.value;
            }
            out << "\n";
        }
        return out.str();
    }

  private:
    struct count {
        u_int64 created = 0;
        u_int64 destroyed = 0;
        bool operator==(const count &) const = default;
    };

    static void before_write(void *cookie, void *address, size_t length, u_int32) {
        run &self = *static_cast<run *>(cookie);
        self.announced_.emplace_back(static_cast<u_int8 *>(address), length);
    }

    void require(bool holds, const std::string &what) {
        if (!holds && fault_.empty()) {
            fault_ = what;
        }
    }

    count count_of(const ptp_cfg_type *type) const {
        const vela_type_info *record = &static_record(type);
        if (kind_.has_own_types) {
            record = handle_->type_table_lookup(handle_->type_table_cookie, mem_class, record->luid_text);
        }
        if (record == nullptr) {
            return {};
        }
        const vela_variant_row &row = record->variant_table->rows[describe(type).newest_variant];
        return {row.created, row.destroyed};
    }

    bool is_on() const { return handle_->sttr_record != nullptr && handle_->sttr_record->mode == VELA_STTR_ON; }

    /** Counts an instance of a type, and those in it. */
    void expect_counted(const modelled_type &type, u_int64 count::*which) {
        ++(counters_[type.type].*which);
        for (const place &each : type.places) {
            if (each.field.kind == PTP_CFG_FIELD_STRUCTURE) {
                ++(counters_[each.field.type].*which);
            }
        }
    }

    void create(modelled_instance &slot, const modelled_type &type) {
        destroy(slot);
        slot = {&type, type.about.operations->create(handle_, mem_class), is_on(), {}, {}, {}};
        slot.values.resize(type.places.size());
        slot.flags.resize(slot.is_tracked ? type.block : 0);
        expect_counted(type, &count::created);
        for (size_t i = 0; i < type.places.size(); ++i) {
            slot.values[i] = value_at(slot, type.places[i]);  // what a new one holds is tested elsewhere
        }
        announced_.clear();
    }

    void destroy(modelled_instance &slot) {
        if (slot.instance != nullptr) {
            slot.type->about.operations->destroy(handle_, mem_class, slot.instance);
            expect_counted(*slot.type, &count::destroyed);
        }
        slot = {};
        announced_.clear();
    }

    u_int64 value_at(const modelled_instance &of, const place &where) {
        if (!where.has_value()) {
            return 0;
        }
        u_int32 err = 0;
        const u_int64 value = ptp_cfg_field_get_value(where.owner, where.index, handle_, mem_class,
                                                      where.find_owner(handle_, of.instance), where.element, &err);
        require(err == 0, std::string("a value cannot be read: ") + where.field.name);
        return value;
    }

    void set_value(modelled_instance &slot, size_t number, u_int64 value) {
        const place &where = slot.type->places[number];
        if (!where.has_value()) {
            return;
        }
        const bool is_enumeration = where.field.kind == PTP_CFG_FIELD_ENUMERATION;
        if (is_enumeration) {
            value %= describe(where.field.type).literal_count + 2;
        } else if (where.field.kind == PTP_CFG_FIELD_BOOLEAN) {
            value %= 2;
        }
        const bool is_literal = !is_enumeration || value < describe(where.field.type).literal_count;
        u_int32 err = 0;
        ptp_cfg_field_set_value(where.owner, where.index, handle_, mem_class, where.find_owner(handle_, slot.instance),
                                where.element, value, &err);
        const u_int32 refused = is_on() && !slot.is_tracked ? VELA_EINVAL : 0;
        require(err == (is_literal ? refused : u_int32{VELA_EEPOCH}), "setting ends with another error");
        if (!is_literal) {
            return;
        }
        slot.values[number] = is_enumeration ? value : stored(where.field, value);
        if (is_on() && slot.is_tracked) {
            slot.flags[where.whole_flag] = slot.flags[where.flag] = 2;
        }
    }

    void set_flag(modelled_instance &slot, const place &where, bool is_whole, u_int8 flag) {
        const u_int32 element = is_whole && where.field.is_array != 0 ? 0xFFFFFFFF : where.element;
        u_int32 err = 0;
        ptp_cfg_field_state_flag_set(where.owner, where.index, handle_, mem_class,
                                     where.find_owner(handle_, slot.instance), element, flag, &err);
        const bool is_taken = slot.is_tracked && is_on();
        require(err == (is_taken ? 0u : u_int32{VELA_EINVAL}), "setting a flag ends with another error");
        if (is_taken) {
            slot.flags[is_whole ? where.whole_flag : where.flag] = flag;
        }
    }

    /** Flags travel from a tracked instance to another while tracking is on; where they do not, those there stay. */
    void expect_received(modelled_instance &to, const modelled_instance &from) {
        to.values = from.values;
        if (is_on()) {
            to.flags = from.flags;
        }
    }

    /** To decode into an instance that was made in the other mode ends the process. */
    bool can_receive(const modelled_instance &to) const { return to.is_tracked == is_on(); }

    void copy(modelled_instance &to, const modelled_instance &from) {
        const bool is_new = to.type != from.type;
        if (!can_receive(from) || (!is_new && !can_receive(to))) {
            return;
        }
        if (is_new) {
            destroy(to);
        }
        u_int32 err = 0;
        void *instance = to.instance;
        from.type->about.operations->copy(handle_, mem_class, from.instance, &instance, &err);
        require(err == 0, "an instance cannot be copied");
        if (is_new) {
            to = {from.type, instance, is_on(), from.values, {}, {}};
            to.flags.resize(to.is_tracked ? from.type->block : 0);
            expect_counted(*from.type, &count::created);
        }
        require(instance == to.instance, "a copy took another place");
        expect_received(to, from);
        announced_.clear();
    }

    void decode(modelled_instance &to, const modelled_instance &from) {
        if (to.type != from.type || !can_receive(to) || !can_receive(from)) {
            return;
        }
        octets bytes(8192);
        u_int32 err = 0;
        const ptp_cfg_operations &calls = *from.type->about.operations;
        const u_int32 length = calls.marshal(handle_, mem_class, bytes.data(), from.instance, 8192, &err);
        require(err == 0, "an instance does not encode");
        require(length == calls.len(handle_, mem_class, from.instance), "the length is another");
        require(announced_.empty(), "encoding announces something");
        require(calls.unmarshal(handle_, mem_class, bytes.data(), to.instance, length, &err) == length && err == 0,
                "an encoding does not decode");
        expect_received(to, from);
        announced_.clear();
        require(calls.compare(to.instance, from.instance) == 0, "what was decoded compares as another");
        require(calls.hash(to.instance, 1) == calls.hash(from.instance, 1), "what is equal has different hashes");
    }

    void take(const step &next) {
        modelled_instance &slot = slots_[next.slot % slot_count];
        modelled_instance &other = slots_[next.other % slot_count];
        const std::vector<modelled_type> &types = modelled_types();
        if (next.what == action::create) {
            create(slot, types[next.other % types.size()]);
        } else if (next.what == action::destroy) {
            destroy(slot);
        } else if (next.what == action::switch_tracking && handle_->sttr_record != nullptr) {
            handle_->sttr_record->mode = is_on() ? VELA_STTR_OFF : VELA_STTR_ON;
        } else if (slot.instance == nullptr) {
            return;
        } else if (next.what == action::set_value) {
            set_value(slot, next.place % slot.type->places.size(), next.value);
        } else if (next.what == action::set_flag || next.what == action::set_whole_flag) {
            set_flag(slot, slot.type->places[next.place % slot.type->places.size()],
                     next.what == action::set_whole_flag, static_cast<u_int8>(next.value));
        } else if (other.instance != nullptr && &other != &slot && next.what == action::copy) {
            copy(slot, other);
        } else if (other.instance != nullptr && &other != &slot && next.what == action::decode) {
            decode(slot, other);
        } else {
            return;
        }
        const bool is_silent =
            next.what != action::set_value && next.what != action::set_flag && next.what != action::set_whole_flag;
        if (is_silent) {
            remember(slot);
        }
    }

    static void remember(modelled_instance &of) {
        const u_int8 *first = static_cast<const u_int8 *>(of.instance);
        of.bytes.assign(first, first + (first != nullptr ? of.size() : 0));
    }

    void check() {
        for (modelled_instance &each : slots_) {
            if (each.instance == nullptr) {
                continue;
            }
            for (size_t i = 0; i < each.values.size(); ++i) {
                require(
                    value_at(each, each.type->places[i]) == each.values[i],
                    std::string("another value: ") + each.type->about.name + ", " + each.type->places[i].field.name);
            }
            const u_int8 *block = static_cast<const u_int8 *>(each.instance) + each.type->about.untracked_size;
            require(std::equal(each.flags.begin(), each.flags.end(), block),
                    std::string("other flags: ") + each.type->about.name);
            check_announced(each);
            remember(each);
        }
        require(announced_.empty(), "something else was announced");
        for (const auto &[type, expected] : counters_) {
            require(count_of(type) == expected, std::string("another count: ") + describe(type).name);
        }
    }

    /** Each byte that changed was announced, and nothing far from what changed was. */
    void check_announced(const modelled_instance &of) {
        u_int8 *first = static_cast<u_int8 *>(of.instance);
        std::vector<bool> may_change(of.size(), !kind_.has_write_hook);
        std::erase_if(announced_, [&](const std::pair<u_int8 *, size_t> &range) {
            if (range.first < first || range.first + range.second > first + of.size()) {
                return false;
            }
            std::fill_n(may_change.begin() + (range.first - first), range.second, true);
            return true;
        });
        for (size_t i = 0; i < of.bytes.size(); ++i) {
            require(of.bytes[i] == first[i] || may_change[i],
                    std::string("changed without a word: ") + of.type->about.name + ", byte " + std::to_string(i));
        }
    }

    handle_kind kind_;
    level_domain newest_;
    vela_handle *handle_ = nullptr;
    std::array<modelled_instance, slot_count> slots_;
    std::map<const ptp_cfg_type *, count> counters_;
    std::vector<std::pair<u_int8 *, size_t>> announced_;
    std::string fault_;
};

class random_operations : public testing::TestWithParam<handle_kind> {};

TEST_P(random_operations, leave_what_the_model_says) {
    const trial once = [](const steps &sequence) { return run(GetParam()).all(sequence); };
    for (u_int64 seed = 1; seed <= 12; ++seed) {
        const steps sequence = random_steps(seed, 250);
        if (once(sequence).has_value()) {
            const steps shortest = shortest_failing(sequence, once);
            FAIL() << "seed " << seed << ", the shortest part that fails: " << once(shortest).value_or("nothing")
                   << "\n"
                   << run::tell(shortest);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(handles, random_operations,
                         testing::Values(handle_kind{"plain", 0, true, false, nullptr},
                                         handle_kind{"tracking", VELA_STTR_ON, true, false, nullptr},
                                         handle_kind{"tracking_later", VELA_STTR_OFF, true, true, nullptr},
                                         handle_kind{"tracking_unwatched", VELA_STTR_ON, false, false, nullptr},
                                         handle_kind{"tracking_in_a_domain", VELA_STTR_ON, false, true, "newest"}),
                         [](const auto &each) { return each.param.name; });

}  // namespace
}  // namespace ptp_cfg_test
