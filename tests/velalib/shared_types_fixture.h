// Files of shared types for a test, with a module whose types they hold.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <memory>

#include "shared_types.h"
#include "test_support.h"

namespace velalib_test {

/** Free under valgrind and the sanitizers too. */
inline void *const agreed = reinterpret_cast<void *>(0x60000000);
constexpr size_t room = 64 * 1024;

using shared_types = std::unique_ptr<vela_shared_types, decltype(&vela_shared_types_close)>;

/** Runs `body` in a process of its own and waits for its end; its exit status, or minus the signal that ended it. */
inline int in_another_process(const std::function<int()> &body) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(30);
        _exit(body());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

inline std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void write_file(const std::string &path, const std::string &content) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

/** Types as vela_type_counts_each() gives them: "name variant created destroyed". */
inline std::vector<std::string> counts_of(const vela_shared_types *types) {
    std::vector<std::string> rows;
    vela_type_counts_each(
        types,
        [](void *cookie, const vela_type_counts *counts) {
            static_cast<std::vector<std::string> *>(cookie)->push_back(
                std::string(counts->type_name) + " " + std::to_string(counts->variant) + " " +
                std::to_string(counts->created) + " " + std::to_string(counts->destroyed));
        },
        &rows);
    return rows;
}

class shared_types_test : public testing::Test {
  protected:
    shared_types_test() {
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        path = folder + "/types";
        vela_module_tot_root.first = &module;
    }
    ~shared_types_test() override {
        vela_module_tot_root.first = nullptr;
        unlink(path.c_str());
        rmdir(folder.c_str());
    }
    shared_types make(size_t size = room) {
        shared_types types(vela_shared_types_create(path.c_str(), agreed, size, &err, reason, sizeof reason),
                           &vela_shared_types_close);
        EXPECT_NE(types, nullptr) << err << " " << reason;
        return types;
    }
    shared_types open(void *address = nullptr) {
        return {vela_shared_types_open(path.c_str(), address, &err, reason, sizeof reason), &vela_shared_types_close};
    }
    shared_types read() {
        return {vela_shared_types_read(path.c_str(), &err, reason, sizeof reason), &vela_shared_types_close};
    }
    void expect_refused(const shared_types &types, u_int32 code, const std::string &words) {
        EXPECT_EQ(types, nullptr);
        EXPECT_EQ(err, code);
        EXPECT_NE(std::string(reason).find(words), std::string::npos) << reason;
        err = 0;
        reason[0] = '\0';
    }
    vela_handle *make_handle(const shared_types &types) {
        vela_handle_options options = default_options();
        options.shared_types = types.get();
        return vela_handle_create(&options, &err);
    }
    /** What a module that is loaded later does for its one type. */
    static void enter(vela_handle *handle, const vela_type_info &record) {
        vela_type_info *copy = static_cast<vela_type_info *>(
            handle->shared_alloc(handle->shared_alloc_cookie, 0xFFFFFFFF, sizeof(vela_type_info_copy)));
        if (copy == nullptr) {
            return;
        }
        *copy = record;
        handle->type_table_insert(handle->type_table_cookie, test_class, copy->luid_text, copy);
        vela_update_variant_info(handle, test_class, copy, &record, 1);
    }
    static const vela_type_info *find(vela_handle *handle, const vela_type_info &record) {
        return handle->type_table_lookup(handle->type_table_cookie, test_class, record.luid_text);
    }

    type_record port{"ptp_port", 2, "00000000000000000000000000000001"};
    type_record clock{"ptp_clock", 1, "00000000000000000000000000000002"};
    type_record later{"later", 3, "00000000000000000000000000000003"};
    vela_type_info *types_of_module[3] = {&port.info, &clock.info, nullptr};
    vela_module module = {"module", types_of_module, nullptr, nullptr};
    std::string folder = "/tmp/velalib-test-XXXXXX";
    std::string path;
    u_int32 err = 0;
    char reason[200] = "";
};

}  // namespace velalib_test
