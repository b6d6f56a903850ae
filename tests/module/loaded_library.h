// The library as tests load and unload it.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <link.h>

#include <iterator>

#include "oracle_model.h"
#include "ptp_cfg/module.h"

namespace ptp_cfg_test {

constexpr size_t structure_count = std::size(oracle::structures);
constexpr size_t enumeration_count = std::size(oracle::enumerations);
constexpr size_t message_count = std::size(oracle::messages);
constexpr size_t type_count = structure_count + enumeration_count + message_count;

class loaded_library {
  public:
    loaded_library() : library_(dlopen(PTP_CFG_LIBRARY, RTLD_NOW)) { EXPECT_NE(library_, nullptr) << dlerror(); }
    ~loaded_library() { close(); }
    void close() {
        if (library_ != nullptr) {
            dlclose(library_);
        }
        library_ = nullptr;
    }
    template <class T>
    T *find(const char *name) const {
        T *found = reinterpret_cast<T *>(dlsym(library_, name));
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    /** Runs all functions of the library's list for load (or unload) once more. */
    void run(decltype(DT_INIT_ARRAY) list, decltype(DT_INIT_ARRAYSZ) size_tag) const {
        link_map *map = nullptr;
        ASSERT_EQ(dlinfo(library_, RTLD_DI_LINKMAP, &map), 0);
        ElfW(Addr) address = 0;
        size_t size = 0;
        for (const ElfW(Dyn) *entry = map->l_ld; entry->d_tag != DT_NULL; ++entry) {
            address = entry->d_tag == list ? entry->d_un.d_ptr : address;
            size = entry->d_tag == size_tag ? entry->d_un.d_val : size;
        }
        using function = void (*)();
        const function *functions = reinterpret_cast<const function *>(map->l_addr + address);
        for (size_t i = 0; i < size / sizeof(function); ++i) {
            functions[i]();
        }
    }
    void run_constructors() const { run(DT_INIT_ARRAY, DT_INIT_ARRAYSZ); }
    void run_destructors() const { run(DT_FINI_ARRAY, DT_FINI_ARRAYSZ); }

  private:
    void *library_;
};

/** Names of the modules in the runtime's list, which must hold together. */
inline std::vector<std::string> linked_modules() {
    std::vector<std::string> names;
    vela_module **link = &vela_module_tot_root.first;
    for (; *link != nullptr; link = &(*link)->next) {
        EXPECT_EQ((*link)->previous_next, link);
        names.emplace_back((*link)->name);
    }
    EXPECT_EQ(vela_module_tot_root.last_next, link);
    EXPECT_EQ(vela_module_tot_root.count, names.size());
    return names;
}

using names = std::vector<std::string>;

inline std::vector<vela_type_info *> records() {
    std::vector<vela_type_info *> all;
    if (vela_module_tot_root.first == nullptr) {
        ADD_FAILURE() << "no module is linked";
        return all;
    }
    for (vela_type_info *const *type = vela_module_tot_root.first->types; *type != nullptr; ++type) {
        all.push_back(*type);
    }
    return all;
}

}  // namespace ptp_cfg_test
