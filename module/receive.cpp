// Receiving messages of whatever type, one by one and by the bundle.
#include "ptp_cfg/receive.h"

#include "module/reflection.h"
#include "operations/core/errors.h"
#include "vela_bundle.h"

using namespace ptp_cfg;

#ifdef PTP_CFG_EXPORTED_RUNTIME
// A product's own runtime may have bundles of another form, or none.
#pragma weak vela_bundle_read
#pragma weak vela_bundle_next
#endif

namespace {

bool reads_bundles() {
#ifdef PTP_CFG_EXPORTED_RUNTIME
    return vela_bundle_read != nullptr && vela_bundle_next != nullptr;
#else
    return true;  // a weak reference would leave these functions in a static library
#endif
}

/** Finds the message that bytes hold, and tells the caller; nullptr with an error of the operation. */
const ptp_cfg_type *identify(const char *operation, vela_handle *handle, const ptp_cfg_type **type, const u_int8 *bytes,
                             u_int32 length, u_int32 *err) {
    const ptp_cfg_type *found = nullptr;
    if (*err == 0) {
        clear_last_error(handle);
        found = ptp_cfg_message_identify(bytes, length);
        if (found == nullptr) {
            const bool cut = length < PTP_CFG_MESSAGE_PREFIX;
            fail_in({nullptr, nullptr, operation}, handle, cut ? VELA_EMSGSIZE : VELA_EINVAL, err,
                    cut ? "the bytes end before the message's identity does" : "no message has this identity");
        }
    }
    if (type != nullptr) {
        *type = found;
    }
    return found;
}

struct bundle_delivery {
    vela_handle *handle;
    u_int32 mem_class;
    ptp_cfg_receiver receiver;
    void *context;
    ptp_cfg_bundle_report report = {};

    void note(ptp_cfg_bundle_fault fault) {
        if (fault.err != 0 && report.failed++ == 0) {
            report.first = fault;
        }
    }
    /** Gives one message away; false when nobody was given it. */
    bool give(const vela_bundle_item &item, const ptp_cfg_type **type, u_int32 *err) {
        void *message = nullptr;
        if (receiver == nullptr) {
            ptp_cfg_dispatch(handle, mem_class, context, &message, type, item.message, item.length, err);
        } else {
            message = ptp_cfg_receive(handle, mem_class, type, item.message, item.length, nullptr, err);
            if (message != nullptr) {
                receiver(handle, mem_class, context, *type, message, err);
            }
        }
        return message != nullptr;
    }
    void pass(const vela_bundle_item &item) {
        ++report.messages;
        if (item.message == nullptr) {
            note({item.err, item.index, item.offset, nullptr, item.reason});
            return;
        }
        const ptp_cfg_type *type = nullptr;
        u_int32 err = 0;
        const bool taken = give(item, &type, &err);
        report.taken += taken ? 1 : 0;
        note({err, item.index, item.offset, type, reason_of(err, taken, type)});
    }
    static const char *reason_of(u_int32 err, bool taken, const ptp_cfg_type *type) {
        if (taken) {
            return err == 0 ? nullptr : "who was given the message reported an error";
        }
        if (type == nullptr) {
            return "the identity is that of no known message";
        }
        return err == VELA_ENOSYS ? "the program has no handler of this message" : "the message cannot be decoded";
    }
};

}  // namespace

extern "C" {

void *ptp_cfg_receive(vela_handle *handle, u_int32 mem_class, const ptp_cfg_type **type, const u_int8 *bytes,
                      u_int32 length, u_int32 *consumed, u_int32 *err) {
    u_int32 count = 0;
    const ptp_cfg_type *found = identify("ptp_cfg_receive", handle, type, bytes, length, err);
    void *message = found == nullptr ? nullptr : found->operations->take(handle, mem_class, bytes, length, &count, err);
    if (found != nullptr && message == nullptr) {
        name_failure({nullptr, nullptr, "ptp_cfg_receive"}, handle, err);
    }
    if (consumed != nullptr) {
        *consumed = count;
    }
    return message;
}

void ptp_cfg_message_destroy(vela_handle *handle, u_int32 mem_class, const ptp_cfg_type *type, void *message) {
    if (message != nullptr) {
        type->operations->destroy(handle, mem_class, message);
    }
}

u_int32 ptp_cfg_dispatch(vela_handle *handle, u_int32 mem_class, void *context, void **message,
                         const ptp_cfg_type **type, const u_int8 *bytes, u_int32 length, u_int32 *err) {
    if (message != nullptr) {
        *message = nullptr;
    }
    const ptp_cfg_type *found = identify("ptp_cfg_dispatch", handle, type, bytes, length, err);
    return found == nullptr ? 0 : found->operations->receive(handle, mem_class, context, message, bytes, length, err);
}

u_int32 ptp_cfg_dispatch_bundle(vela_handle *handle, u_int32 mem_class, ptp_cfg_receiver receiver, void *context,
                                const u_int8 *bytes, u_int32 length, ptp_cfg_bundle_report *report, u_int32 *err) {
    bundle_delivery delivery{handle, mem_class, receiver, context};
    if (*err == 0) {
        clear_last_error(handle);
        if (!reads_bundles()) {
            delivery.note({VELA_ENOSYS, 0, 0, nullptr, "the runtime does not read bundles"});
        } else {
            u_int32 unreadable = 0;
            vela_bundle_reader reader{};
            vela_bundle_read(&reader, bytes, length, &unreadable);
            delivery.note({unreadable, 0, 0, nullptr, "neither a whole bundle nor a message"});
            for (vela_bundle_item item{}; vela_bundle_next(&reader, &item) != 0;) {
                delivery.pass(item);
            }
        }
        if (delivery.report.failed != 0) {
            fail_in({nullptr, nullptr, "ptp_cfg_dispatch_bundle"}, handle, delivery.report.first.err, err,
                    delivery.report.first.reason);
        }
    }
    if (report != nullptr) {
        *report = delivery.report;
    }
    return delivery.report.taken;
}

}  // extern "C"
