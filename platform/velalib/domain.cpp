// Variant domains: making and changing them, and what one says of a type.
#include "domain.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "module_types.h"
#include "runtime_state.h"
#include "velalib_inline.h"

namespace {

u_int64 new_stamp() {
    static std::atomic<u_int64> last{0};
    return ++last;
}

/** What a domain says of a type_info, from the handle's cache or into it. */
const velalib::variant_cache::entry &ask(vela_handle *handle, const vela_domain *domain,
                                         const vela_type_info *type_info) {
    velalib::variant_cache::entry &entry = handle->runtime->variants.of(type_info);
    if (entry.type_info == type_info && entry.stamp == domain->stamp) {
        return entry;
    }
    const std::string name(velalib::text_of(type_info->type_name));
    const auto found = domain->variants.find(name);
    entry.variant = found != domain->variants.end() ? found->second : velalib::latest_variant(*type_info);
    entry.message_ok = !domain->forbidden_messages.contains(name);
    entry.stamp = domain->stamp;
    entry.type_info = type_info;
    return entry;
}

bool is_name(const char *name) { return name != nullptr && name[0] != '\0'; }

}  // namespace

vela_domain *vela_domain_create(const char *name) {
    if (name == nullptr || strlen(name) >= sizeof(vela_handle::domain_name)) {
        return nullptr;
    }
    try {
        auto domain = std::make_unique<vela_domain>();
        domain->name = name;  // at most 63 characters, which take memory of their own
        domain->stamp = new_stamp();
        return domain.release();
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

void vela_domain_destroy(vela_domain *domain) { delete domain; }

u_int32 vela_domain_set_variant(vela_domain *domain, const char *type_name, int8 variant) {
    if (domain == nullptr || !is_name(type_name) || variant < 0) {
        return VELA_EINVAL;
    }
    try {
        domain->variants.insert_or_assign(type_name, variant);
    } catch (const std::bad_alloc &) {
        return VELA_ENOMEM;
    }
    domain->stamp = new_stamp();
    return VELA_OK;
}

u_int32 vela_domain_forbid_message(vela_domain *domain, const char *message_name) {
    if (domain == nullptr || !is_name(message_name)) {
        return VELA_EINVAL;
    }
    try {
        domain->forbidden_messages.emplace(message_name);
    } catch (const std::bad_alloc &) {
        return VELA_ENOMEM;
    }
    domain->stamp = new_stamp();
    return VELA_OK;
}

void vela_handle_set_domain(vela_handle *handle, const vela_domain *domain) {
    handle->variant_domain.overrides = domain;
    memset(handle->domain_name, 0, sizeof handle->domain_name);
    if (domain != nullptr) {
        memcpy(handle->domain_name, domain->name.data(), domain->name.size());
    }
}

int8 vela_domain_lookup_variant(vela_handle *handle, const vela_variant_domain *domain, const vela_type_info *type_info,
                                u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    if (type_info == nullptr) {
        return static_cast<int8>(vela_inline::fail(handle, err, VELA_EINVAL));
    }
    if (domain->overrides == nullptr) {
        return velalib::latest_variant(*type_info);
    }
    try {
        return ask(handle, domain->overrides, type_info).variant;
    } catch (const std::bad_alloc &) {
        return static_cast<int8>(vela_inline::fail(handle, err, VELA_ENOMEM));
    }
}

u_int32 vela_domain_lookup_message_ok(vela_handle *handle, const vela_variant_domain *domain,
                                      const vela_type_info *type_info, u_int32 *err) {
    if (*err != 0) {
        return 0;
    }
    if (type_info == nullptr) {
        return vela_inline::fail(handle, err, VELA_EINVAL);
    }
    if (domain->overrides == nullptr) {
        return 1;
    }
    try {
        return ask(handle, domain->overrides, type_info).message_ok;
    } catch (const std::bad_alloc &) {
        return vela_inline::fail(handle, err, VELA_ENOMEM);
    }
}
