// What the tests of JSON share: texts that are written and read where no octet is beyond them, and what was told of faults.
#pragma once

#include <cstring>

#include "ptp_cfg/json.h"
#include "records.h"

namespace ptp_cfg_test {

/** What a reading told of its fault. */
struct told_fault {
    u_int32 code = 0;
    std::string text;
    size_t offset = 0;

    static void take(void *self, const ptp_cfg_json_fault *fault) {
        told_fault &told = *static_cast<told_fault *>(self);
        told = {fault->code,
                std::to_string(fault->line) + ":" + std::to_string(fault->column) + ": " + fault->path + ": " +
                    fault->reason,
                fault->offset};
    }
};

class Json : public testing::Test {
  protected:
    static ptp_cfg_json_options options_of(u_int32 rules, u_int32 indent = 0, told_fault *told = nullptr) {
        ptp_cfg_json_options options = {};
        options.size = sizeof options;
        options.rules = rules;
        options.indent = indent;
        options.on_fault = told == nullptr ? nullptr : told_fault::take;
        options.cookie = told;
        return options;
    }
    static std::string write(vela_handle *handle, const record_type &type, const void *instance, u_int32 rules = 0,
                             u_int32 indent = 0) {
        const ptp_cfg_json_options options = options_of(rules, indent);
        u_int32 err = 0;
        const u_int32 needed = ptp_cfg_to_json(handle, mem_class, type.type, instance, nullptr, 0, &options, &err);
        EXPECT_EQ(err, u_int32{VELA_EMSGSIZE});
        err = 0;
        guarded_memory memory(needed);
        char *text = reinterpret_cast<char *>(memory.last(needed));
        EXPECT_EQ(ptp_cfg_to_json(handle, mem_class, type.type, instance, text, needed, &options, &err), needed);
        EXPECT_EQ(err, 0u) << type.about.name;
        return {text, needed};
    }
    /** Reads into an instance, or into a new one; the text ends where no more can be read. */
    void *read(vela_handle *handle, const record_type &type, void *instance, const std::string &text,
               u_int32 rules = 0) {
        guarded_memory memory(text.size() + 1);
        char *copy = reinterpret_cast<char *>(memory.last(text.size()));
        memcpy(copy, text.data(), text.size());
        told = {};
        const ptp_cfg_json_options options = options_of(rules, 0, &told);
        err = 0;
        void *result = ptp_cfg_from_json(handle, mem_class, type.type, instance, copy, text.size(), &options, &err, why,
                                         sizeof why);
        EXPECT_EQ(result == nullptr, err != 0);
        EXPECT_EQ(told.code, err == VELA_ENOMEM ? 0 : err) << told.text;
        vela_clear_last_error(handle);
        return result;
    }
    owned<void> read_new(vela_handle *handle, const record_type &type, const std::string &text, u_int32 rules = 0) {
        void *instance = read(handle, type, nullptr, text, rules);
        EXPECT_EQ(err, 0u) << told.text;
        return hold(handle, instance, type.operations->destroy);
    }
    /** The fault of a text. */
    std::string fault_of(const char *type_name, const std::string &text, u_int32 rules = 0) {
        const record_type type(type_name);
        const auto instance = type.create(handle);
        EXPECT_EQ(read(handle, type, instance.get(), text, rules), nullptr) << text;
        return told.text;
    }

    const test_handle handle;
    told_fault told;
    u_int32 err = 0;
    char why[300] = "";
};

}  // namespace ptp_cfg_test
