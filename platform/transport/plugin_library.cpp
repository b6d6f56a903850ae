// Finds and loads the library of a scheme: beside libvela, never in a folder that somebody else chooses.
#include <dlfcn.h>
#include <unistd.h>

#include <vector>

#include "plugin.h"

namespace vela::transport {

bool is_plugin_scheme(std::string_view uri, size_t colon) {
    constexpr size_t longest = 16;
    constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyz0123456789";
    return colon != std::string_view::npos && colon > 0 && colon <= longest &&
           uri.substr(0, colon).find_first_not_of(allowed) == std::string_view::npos;
}

#ifdef VELA_WITHOUT_PLUGINS

const vela_transport_plugin *load_plugin(const std::string &scheme, failure &why) {
    why = {VELA_EINVAL, scheme +
                            ": is carried by a library that libvela loads, and libvela is part of this program: "
                            "link the program with libvela.so"};
    return nullptr;
}

#else

namespace {

// The folders that may have it. None when libvela was loaded by a relative path, which would lead anywhere.
std::vector<std::string> plugin_folders() {
    Dl_info self = {};
    if (dladdr(reinterpret_cast<const void *>(&is_plugin_scheme), &self) == 0 || self.dli_fname == nullptr ||
        self.dli_fname[0] != '/') {
        return {};
    }
    const std::string file = self.dli_fname;
    const std::string folder = file.substr(0, file.rfind('/') + 1);
    return {folder, folder + "vela/"};
}

const vela_transport_plugin *open_library(const std::string &file, failure &why) {
    void *library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    if (library == nullptr) {
        const char *reason = dlerror();
        why = {VELA_EINVAL, reason != nullptr ? reason : file + ": cannot be loaded"};
        return nullptr;
    }
    const auto describe =
        reinterpret_cast<decltype(&vela_transport_plugin_describe)>(dlsym(library, "vela_transport_plugin_describe"));
    const vela_transport_plugin *plugin = describe != nullptr ? describe() : nullptr;
    if (plugin == nullptr || plugin->version != VELA_TRANSPORT_PLUGIN_VERSION) {
        why = {VELA_EINVAL, file + ": is no transport of version " + std::to_string(VELA_TRANSPORT_PLUGIN_VERSION) +
                                ": install the one that belongs to this libvela"};
        return nullptr;
    }
    return plugin;
}

}  // namespace

const vela_transport_plugin *load_plugin(const std::string &scheme, failure &why) {
    const std::string name = "libvela_" + scheme + ".so";
    std::string searched;
    for (const std::string &folder : plugin_folders()) {
        if (access((folder + name).c_str(), F_OK) == 0) {
            return open_library(folder + name, why);
        }
        searched.append(searched.empty() ? "" : " or ").append(folder);
    }
    why = {VELA_ENOENT, searched.empty()
                            ? "; " + name + " is looked for beside libvela, which has no absolute path here"
                            : "; there is no " + name + " in " + searched};
    return nullptr;
}

#endif

}  // namespace vela::transport
