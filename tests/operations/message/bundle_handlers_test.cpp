// The calls that register a bundle handler with all domains.
#include <dlfcn.h>

#include "ptp_cfg/module.h"
#include "records.h"
#include "vela_transport.h"

/** Which transport domains were called, in order; each call goes on to the domain's own function. */
static std::vector<std::string> domain_calls;
/** The handler that the module names as registered when a domain is called. */
static ptp_cfg_bundle_handler named_meanwhile = nullptr;
template <class... Arguments>
static u_int32 pass_on(const char *name, Arguments... arguments) {
    domain_calls.push_back(name);
    named_meanwhile = ptp_cfg_bundle_registered_handler;
    return reinterpret_cast<u_int32 (*)(Arguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}
u_int32 gable_bundle_handler_register(vela_bundle_handler it) { return pass_on("gable_bundle_handler_register", it); }
u_int32 wicket_bundle_handler_register(vela_bundle_handler it) { return pass_on("wicket_bundle_handler_register", it); }
u_int32 skein_bundle_handler_register(vela_bundle_handler it) { return pass_on("skein_bundle_handler_register", it); }
u_int32 osprey_bundle_handler_register(vela_bundle_handler it) { return pass_on("osprey_bundle_handler_register", it); }
u_int32 gable_bundle_handler_unregister() { return pass_on("gable_bundle_handler_unregister"); }
u_int32 wicket_bundle_handler_unregister() { return pass_on("wicket_bundle_handler_unregister"); }
u_int32 skein_bundle_handler_unregister() { return pass_on("skein_bundle_handler_unregister"); }
u_int32 osprey_bundle_handler_unregister() { return pass_on("osprey_bundle_handler_unregister"); }

namespace ptp_cfg_test {
namespace {

TEST(BundleHandlers, AreRegisteredWithAllDomains) {
    const ptp_cfg_bundle_handler first = [](vela_handle *, u_int32, const u_int8 *, u_int32, void *) {};
    const ptp_cfg_bundle_handler second = [](vela_handle *, u_int32, const u_int8 *, u_int32, void *) { abort(); };
    domain_calls.clear();
    EXPECT_EQ(ptp_cfg_bundle_handler_register(first), nullptr);
    EXPECT_EQ(domain_calls,
              (std::vector<std::string>{"gable_bundle_handler_register", "wicket_bundle_handler_register",
                                        "skein_bundle_handler_register", "osprey_bundle_handler_register"}));
    EXPECT_EQ(named_meanwhile, first) << "known before a bundle can arrive";
    EXPECT_EQ(ptp_cfg_bundle_registered_handler, first);
    EXPECT_EQ(ptp_cfg_bundle_handler_register(second), first);
    domain_calls.clear();
    EXPECT_EQ(ptp_cfg_bundle_handler_unregister(), second);
    EXPECT_EQ(domain_calls,
              (std::vector<std::string>{"gable_bundle_handler_unregister", "wicket_bundle_handler_unregister",
                                        "skein_bundle_handler_unregister", "osprey_bundle_handler_unregister"}));
    EXPECT_EQ(named_meanwhile, nullptr);
    EXPECT_EQ(ptp_cfg_bundle_registered_handler, nullptr);
    EXPECT_EQ(ptp_cfg_bundle_handler_unregister(), nullptr);

    const std::array unregister = {gable_bundle_handler_unregister, wicket_bundle_handler_unregister,
                                   skein_bundle_handler_unregister, osprey_bundle_handler_unregister};
    for (const auto &domain : unregister) {
        EXPECT_EQ(domain(), u_int32{VELA_ENOENT}) << "taken back";
    }
    ptp_cfg_bundle_handler_register(first);
    for (const auto &domain : unregister) {
        EXPECT_EQ(domain(), 0u) << "registered";
    }
    ptp_cfg_bundle_handler_unregister();
}

}  // namespace
}  // namespace ptp_cfg_test
