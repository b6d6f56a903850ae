// The C interface of ptp_validate.h.
#include "ptp_validate.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "agent/intent/fields.h"
#include "agent/profiles/judged_set.h"

/** A set of messages with its violations, once they were asked for. */
struct ptp_validation {
    explicit ptp_validation(std::string_view profile) : set(profile) {}

    ptp_agent::JudgedSet set;
    bool is_judged = false;
    std::vector<ptp_agent::Violation> found;
    std::vector<std::string> texts;
};

namespace {

using ptp_agent::Violation;

/** Runs what may find no memory, unless *err is set. */
template <typename Work>
void guarded(u_int32 *err, Work work) {
    if (*err != 0) {
        return;
    }
    try {
        work();
    } catch (const std::bad_alloc &) {
        *err = VELA_ENOMEM;
    } catch (const std::invalid_argument &) {
        *err = VELA_EINVAL;
    }
}

void judge(ptp_validation &validation) {
    if (validation.is_judged) {
        return;
    }
    validation.found = validation.set.violations();
    validation.texts.clear();
    for (const Violation &each : validation.found) {
        validation.texts.push_back(ptp_agent::to_text(each));
    }
    validation.is_judged = true;
}

static_assert(static_cast<int>(Violation::Kind::Order) == PTP_VIOLATION_ORDER);
static_assert(static_cast<int>(Violation::Kind::Daemon) == PTP_VIOLATION_DAEMON);

}  // namespace

ptp_validation *ptp_validation_create(const char *profile, u_int32 *err) {
    ptp_validation *made = nullptr;
    guarded(err, [&] { made = new ptp_validation(profile == nullptr ? "" : profile); });
    return made;
}

void ptp_validation_destroy(ptp_validation *validation) { delete validation; }

void ptp_validation_add(ptp_validation *validation, vela_handle *handle, const ptp_cfg_type *type, void *message,
                        u_int32 *err) {
    guarded(err, [&] {
        if (type == nullptr || message == nullptr || ptp_agent::describe(type).kind != PTP_CFG_MESSAGE) {
            throw std::invalid_argument("not a message");
        }
        validation->set.add(type, message, handle);
        validation->is_judged = false;
    });
}

u_int32 ptp_validation_count(ptp_validation *validation, u_int32 *err) {
    guarded(err, [&] { judge(*validation); });
    return *err == 0 ? static_cast<u_int32>(validation->found.size()) : 0;
}

void ptp_validation_get(ptp_validation *validation, u_int32 index, ptp_violation *violation, u_int32 *err) {
    guarded(err, [&] { judge(*validation); });
    if (*err != 0) {
        return;
    }
    if (index >= validation->found.size()) {
        *err = VELA_ENOENT;
        return;
    }
    const Violation &found = validation->found[index];
    const ptp_violation filled = {violation->size,      static_cast<ptp_violation_kind>(found.kind),
                                  found.object.c_str(), found.field.c_str(),
                                  found.value.c_str(),  found.allowed.c_str(),
                                  found.reason.c_str(), found.reference.c_str(),
                                  found.rule.c_str(),   validation->texts[index].c_str()};
    std::memcpy(violation, &filled, std::min(violation->size, sizeof filled));
}
