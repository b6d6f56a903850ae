// Takes messages: merges what one says into a copy of the intent, which takes the intent's place when all is well with it.
#include <algorithm>

#include "agent/intent/behaviour.h"
#include "agent/intent/fields.h"
#include "agent/intent/objects.h"
#include "agent/profiles/rules.h"
#include "ptp_cfg/receive.h"

namespace ptp_agent {
namespace {

using Verb = MessageAction::Verb;

Violation wrong_order(std::string object, std::string reason) {
    Violation violation;
    violation.object = std::move(object);
    violation.reason = std::move(reason);
    return violation;
}

bool are_equal(const Record &a, const Record &b) {
    return a.payload() == nullptr
               ? a.number("") == b.number("")
               : describe(fields_of(a.type()).front().type).operations->compare(a.payload(), b.payload()) == 0;
}

/** One message on its way into an intent. */
class Merge {
  public:
    /** `sent` is the message under a plain handle; its flags are asked of the message as it came. */
    Merge(Intent &intent, const MessageAction &action, const Record &sent, void *message, vela_handle *handle)
        : intent_(intent),
          action_(action),
          sent_(sent),
          message_(message),
          handle_(handle),
          key_(key_of(action.kind, action.keys, sent)),
          existing_(intent.find(key_)) {}

    const ObjectKey &key() const { return key_; }

    /** Empty: done. */
    std::vector<Violation> run() {
        switch (action_.verb) {
            case Verb::Delete:
                return remove();
            case Verb::Configure:
                return sent_.is_true("modify") ? change() : create();
            case Verb::Set:
                return create();
            default:
                return change();
        }
    }

  private:
    std::string name() const { return to_text(key_); }

    std::vector<Violation> missing() const {
        return {wrong_order(name(), "there is none; configure it before it is changed or deleted")};
    }

    /** What the object belongs to, and how many there may be. */
    std::vector<Violation> check_place(const Record &record) const {
        std::vector<Violation> wrong;
        const auto need_clock = [&] {
            const auto clock = static_cast<std::uint64_t>(record.number_or("clk_handle", 0));
            if (intent_.find({ObjectKind::Clock, clock}) == nullptr) {
                wrong.push_back(
                    wrong_order(name(), "there is no clock " + std::to_string(clock) + "; configure the clock first"));
            }
        };
        if (key_.kind == ObjectKind::Clock && key_.first > 255) {
            wrong.push_back(wrong_order(name(), "ports and commands name a clock by a number up to 255; give it one"));
        } else if (key_.kind == ObjectKind::Port || key_.kind == ObjectKind::VirtualPort) {
            need_clock();
        } else if (key_.kind == ObjectKind::QualityLevel &&
                   intent_.find({ObjectKind::VirtualPort, key_.first, key_.second}) == nullptr) {
            wrong.push_back(wrong_order(name(), "there is no such virtual port; configure it first"));
        } else if (key_.kind == ObjectKind::Stream) {
            const auto port = static_cast<std::uint64_t>(record.number_or("port_handle", 0));
            if (intent_.find({ObjectKind::Port, port}) == nullptr) {
                wrong.push_back(
                    wrong_order(name(), "there is no port " + std::to_string(port) + "; configure the port first"));
            }
        }
        check_owner(record, wrong);
        return wrong;
    }

    void check_owner(const Record &record, std::vector<Violation> &wrong) const {
        if (key_.kind != ObjectKind::Port || existing_ == nullptr ||
            existing_->number("clk_handle") == record.number("clk_handle")) {
            return;
        }
        wrong.push_back(
            wrong_order(name(), "it belongs to clock " + existing_->shown("clk_handle") +
                                    "; delete it there first: port numbers are those of the whole element"));
    }

    std::vector<Violation> check_limit() const {
        const ObjectClass &of = class_of(key_.kind);
        if (existing_ != nullptr || of.limit == nullptr) {
            return {};
        }
        const std::size_t most = intent_.limits().*of.limit;
        const auto is_same = [this](const auto &object) { return object.first.kind == key_.kind; };
        const auto count = std::count_if(intent_.objects().begin(), intent_.objects().end(), is_same);
        if (static_cast<std::size_t>(count) < most) {
            return {};
        }
        Violation violation =
            wrong_order(name(), "there are " + std::to_string(most) + " of its kind already, the most " +
                                    "that are kept; delete one first");
        violation.kind = Violation::Kind::Limit;
        return {violation};
    }

    std::vector<Violation> keep(Record record) {
        std::vector<Violation> wrong = check_place(record);
        const std::vector<Violation> too_many = check_limit();
        wrong.insert(wrong.end(), too_many.begin(), too_many.end());
        if (wrong.empty()) {
            record.set("modify", 0);
            if (existing_ == nullptr || !are_equal(*existing_, record)) {
                intent_.put(key_, std::make_shared<const Record>(std::move(record)));
            }
        }
        return wrong;
    }

    std::vector<Violation> create() { return keep(sent_.clone()); }

    std::vector<Violation> change() {
        if (existing_ == nullptr) {
            return missing();
        }
        Record changed = existing_->clone();
        for (const FieldMove &move : action_.moves) {
            move_field(move, changed);
        }
        const Copied which = has_state_flags(sent_.type(), handle_, message_) ? Copied::Flagged : Copied::All;
        if (action_.moves.empty() && !copy_payload({sent_.type(), handle_, message_},
                                                   {changed.type(), changed.handle(), changed.message()}, which)) {
            return {wrong_order(name(), "it has a value that this release does not know")};
        }
        return keep(std::move(changed));
    }

    void move_field(const FieldMove &move, Record &changed) const {
        if (!is_given(sent_.type(), handle_, message_, move.from)) {
            return;
        }
        const auto from = find_field(sent_.type(), handle_, message_, move.from);
        const auto to = find_field(changed.type(), changed.handle(), changed.message(), move.to);
        if (from && to) {
            copy_between(*from, handle_, *to, changed.handle());
        }
    }

    std::vector<Violation> remove() {
        if (existing_ == nullptr) {
            return missing();
        }
        if (key_.kind == ObjectKind::Stream) {
            std::vector<Violation> wrong = check_peer();
            if (!wrong.empty()) {
                return wrong;
            }
        }
        for (const ObjectKey &owned : below()) {
            intent_.put(owned, nullptr);
        }
        intent_.put(key_, nullptr);
        return {};
    }

    /** A stream is deleted by its number; what else was given must be that of its peer. */
    std::vector<Violation> check_peer() const {
        const ip_address *address = sent_.ip("stream_addr");
        const en_address *mac = sent_.mac("stream_mac_addr");
        const en_address none{};
        if (address != nullptr && address->family != VELA_IP_NONE &&
            to_text(*address) != existing_->shown("dest_addr")) {
            return {wrong_order(name(), "its peer is " + existing_->shown("dest_addr") + ", not " + to_text(*address))};
        }
        if (mac != nullptr && to_text(*mac) != to_text(none) && to_text(*mac) != existing_->shown("dest_mac_addr")) {
            return {wrong_order(name(), "its peer is " + existing_->shown("dest_mac_addr") + ", not " + to_text(*mac))};
        }
        return {};
    }

    /** Everything that goes with the object. */
    std::vector<ObjectKey> below() const {
        std::vector<ObjectKey> owned;
        const auto is_owned = [&](const ObjectKey &key, const Record &record) {
            switch (key_.kind) {
                case ObjectKind::Clock:
                    return key.kind == ObjectKind::Stream
                               ? intent_.clock_of_port(
                                     static_cast<std::uint64_t>(record.number_or("port_handle", 0))) == key_.first
                               : record.number("clk_handle") == static_cast<std::int64_t>(key_.first);
                case ObjectKind::Port:
                    return key.kind == ObjectKind::Stream &&
                           record.number("port_handle") == static_cast<std::int64_t>(key_.first);
                case ObjectKind::VirtualPort:
                    return key == ObjectKey{ObjectKind::QualityLevel, key_.first, key_.second};
                default:
                    return false;
            }
        };
        for (const auto &[key, record] : intent_.objects()) {
            if (is_owned(key, *record)) {
                owned.push_back(key);
            }
        }
        return owned;
    }

    Intent &intent_;
    const MessageAction &action_;
    const Record &sent_;
    void *message_;
    vela_handle *handle_;
    ObjectKey key_;
    SharedRecord existing_;
};

/** Whether any value of a field, or inside it, was given. */
bool has_value(const Record &record, const FieldBehaviour &field) {
    const auto place = find_field(record.type(), record.handle(), record.message(), field.path);
    if (!place) {
        return false;
    }
    if (place->about->kind == PTP_CFG_FIELD_STRUCTURE) {
        for (const ptp_cfg_field_description &inner : fields_of(place->about->type)) {
            if (has_value(record, {field.path + "." + inner.name, field.source, {}})) {
                return true;
            }
        }
        return false;
    }
    const std::string shown = record.shown(field.path);
    const std::optional<std::int64_t> number = record.number(field.path);
    return number ? *number != 0 : !shown.empty() && shown != "none" && shown != "0" && shown != "00:00:00:00:00:00";
}

std::vector<std::string> unused_fields(const Record &record, const Behaviour &behaviour) {
    std::vector<std::string> unused;
    for (const FieldBehaviour &field : behaviour.fields) {
        if (field.source == FieldSource::Absent && has_value(record, field)) {
            unused.push_back(field.path + " has no effect: " + field.how);
        }
    }
    return unused;
}

std::optional<std::uint8_t> clock_of(const Intent &before, const Intent &after, const ObjectKey &key) {
    const auto narrow = [](std::uint64_t handle) { return static_cast<std::uint8_t>(handle); };
    switch (key.kind) {
        case ObjectKind::Clock:
        case ObjectKind::VirtualPort:
        case ObjectKind::QualityLevel:
            return narrow(key.first);
        case ObjectKind::Port:
            return after.find(key) != nullptr ? after.clock_of_port(key.first) : before.clock_of_port(key.first);
        case ObjectKind::Stream: {
            const SharedRecord stream = after.find(key) != nullptr ? after.find(key) : before.find(key);
            return stream == nullptr
                       ? std::nullopt
                       : before.clock_of_port(static_cast<std::uint64_t>(stream->number_or("port_handle", 0)));
        }
        default:
            return std::nullopt;
    }
}

/** Violations that the change brings; what was wrong before, by an older release's rules, does not block it. */
std::vector<Violation> new_violations(const Intent &before, const Intent &after, const RuleBook &rules) {
    std::vector<Violation> found = rules.check(after);
    if (!found.empty()) {
        const std::vector<Violation> known = rules.check(before);
        std::erase_if(found, [&known](const Violation &each) {
            return std::find(known.begin(), known.end(), each) != known.end();
        });
    }
    return found;
}

void refuse(Answer &answer, std::vector<Violation> violations) {
    const auto is_daemons = [](const Violation &each) { return each.kind == Violation::Kind::Daemon; };
    answer.kind = std::all_of(violations.begin(), violations.end(), is_daemons) ? Answer::Kind::NotExpressible
                                                                                : Answer::Kind::Refused;
    answer.violations = std::move(violations);
}

/** The message as a record of the intent's own; flags do not come along. */
Record received(const Intent &intent, const ptp_cfg_type *type, void *message, vela_handle *handle) {
    Record record(intent.handle(), type);
    copy_payload({type, handle, message}, {type, record.handle(), record.message()}, Copied::All);
    return record;
}

/** @param rules  nullptr: none */
Answer take_by(const RuleBook *rules, Intent &intent, const ptp_cfg_type *type, void *message, vela_handle *handle) {
    Answer answer;
    answer.message = describe(type).short_name;
    const Behaviour *behaviour = behaviour_of(answer.message);
    if (behaviour == nullptr || behaviour->kind == Behaviour::Kind::Reported) {
        answer.kind = Answer::Kind::NotForUs;
        return answer;
    }
    const MessageAction *action = action_of(answer.message);
    if (action == nullptr) {
        Violation violation = wrong_order({}, behaviour->how);
        violation.kind = Violation::Kind::Daemon;
        refuse(answer, {std::move(violation)});
        return answer;
    }
    const Record sent = received(intent, type, message, handle);
    Intent candidate = intent;
    Merge merge(candidate, *action, sent, message, handle);
    answer.object = to_text(merge.key());
    std::vector<Violation> violations = merge.run();
    answer.has_changed = violations.empty() && !(candidate == intent);
    if (answer.has_changed && rules != nullptr) {
        violations = new_violations(intent, candidate, *rules);
    }
    answer.clock = clock_of(intent, candidate, merge.key());
    if (!violations.empty()) {
        answer.has_changed = false;
        refuse(answer, std::move(violations));
        return answer;
    }
    answer.unused = unused_fields(sent, *behaviour);
    intent = std::move(candidate);
    return answer;
}

}  // namespace

Answer take(Intent &intent, const ptp_cfg_type *type, void *message, vela_handle *handle, const RuleBook &rules) {
    return take_by(&rules, intent, type, message, handle);
}

Answer merge(Intent &intent, const ptp_cfg_type *type, void *message, vela_handle *handle) {
    return take_by(nullptr, intent, type, message, handle);
}

Answer take(Intent &intent, std::span<const std::uint8_t> bytes, vela_handle *handle, const RuleBook &rules) {
    const ptp_cfg_type *type = nullptr;
    u_int32 err = 0;
    void *message =
        ptp_cfg_receive(handle, memory_class, &type, bytes.data(), static_cast<u_int32>(bytes.size()), nullptr, &err);
    if (message == nullptr) {
        Answer answer;
        answer.message = type == nullptr ? "unknown message" : describe(type).short_name;
        refuse(answer, {wrong_order({}, "its bytes cannot be decoded (" + std::to_string(err) + ")")});
        return answer;
    }
    Answer answer = take(intent, type, message, handle, rules);
    ptp_cfg_message_destroy(handle, memory_class, type, message);
    return answer;
}

}  // namespace ptp_agent
