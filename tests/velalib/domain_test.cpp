// Domains: which variants and messages they admit.
#include "test_support.h"

#include <memory>

#include "velalib_inline.h"

namespace velalib_test {
namespace {

class domain_test : public handle_test {
  protected:
    int8 variant_of(const vela_type_info &record) {
        const int8 exported = vela_domain_lookup_variant(handle, &handle->variant_domain, &record, &err);
        EXPECT_EQ(vela_inline::vela_domain_lookup_variant(handle, &handle->variant_domain, &record, &err), exported);
        return exported;
    }
    u_int32 allows(const vela_type_info &record) {
        return vela_domain_lookup_message_ok(handle, &handle->variant_domain, &record, &err);
    }

    type_record port{"ptp_port", 2};
    type_record message{"ptp_clock_cfg_message"};
};

TEST_F(domain_test, WithoutADomainEverythingIsNewest) {
    type_record bare("bare");
    bare.info.variant_table = nullptr;
    EXPECT_EQ(variant_of(port.info), 1);
    EXPECT_EQ(variant_of(bare.info), 0);
    EXPECT_EQ(allows(message.info), 1u);
    EXPECT_STREQ(handle->domain_name, "");
    EXPECT_EQ(vela_domain_lookup_variant(handle, &handle->variant_domain, nullptr, &err), 0);
    expect_failure(VELA_EINVAL);
    err = VELA_ENOENT;
    EXPECT_EQ(variant_of(port.info), 0);
    EXPECT_EQ(allows(message.info), 0u);
    EXPECT_EQ(err, VELA_ENOENT);
}

TEST_F(domain_test, OverridesHoldAsLongAsTheDomainSaysSo) {
    vela_domain *old_peer = vela_domain_create("old peer");
    ASSERT_EQ(vela_domain_set_variant(old_peer, "ptp_port", 0), 0u);
    vela_handle_set_domain(handle, old_peer);
    EXPECT_STREQ(handle->domain_name, "old peer");
    EXPECT_EQ(variant_of(port.info), 0);
    EXPECT_EQ(variant_of(message.info), 0);
    EXPECT_EQ(allows(message.info), 1u);
    ASSERT_EQ(vela_domain_set_variant(old_peer, "ptp_port", 9), 0u);  // after it was asked
    ASSERT_EQ(vela_domain_forbid_message(old_peer, "ptp_clock_cfg_message"), 0u);
    EXPECT_EQ(variant_of(port.info), 9);
    EXPECT_EQ(allows(message.info), 0u);

    vela_domain *other = vela_domain_create("other");
    vela_handle_set_domain(handle, other);
    EXPECT_EQ(variant_of(port.info), 1);
    EXPECT_EQ(allows(message.info), 1u);
    vela_handle_set_domain(handle, nullptr);
    EXPECT_EQ(variant_of(port.info), 1);
    EXPECT_STREQ(handle->domain_name, "");
    vela_domain_destroy(other);
    vela_domain_destroy(old_peer);
}

TEST_F(domain_test, ManyTypesDoNotDisturbEachOther) {
    vela_domain *mixed = vela_domain_create("mixed");
    std::vector<std::unique_ptr<type_record>> records;
    for (int i = 0; i < 1000; ++i) {
        const std::string name = "type_" + std::to_string(i);
        records.push_back(std::make_unique<type_record>(name.c_str(), 4));
        vela_domain_set_variant(mixed, name.c_str(), static_cast<int8>(i % 3));
    }
    vela_handle_set_domain(handle, mixed);
    for (int pass = 0; pass < 2; ++pass) {
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(variant_of(records[i]->info), i % 3);
        }
    }
    vela_domain_destroy(mixed);
}

TEST_F(domain_test, RefusesBadNamesAndVariants) {
    EXPECT_EQ(vela_domain_create(nullptr), nullptr);
    EXPECT_EQ(vela_domain_create(std::string(64, 'x').c_str()), nullptr);
    vela_domain *domain = vela_domain_create(std::string(63, 'x').c_str());
    ASSERT_NE(domain, nullptr);
    EXPECT_EQ(vela_domain_set_variant(domain, "ptp_port", -1), static_cast<u_int32>(VELA_EINVAL));
    EXPECT_EQ(vela_domain_set_variant(domain, "", 1), static_cast<u_int32>(VELA_EINVAL));
    EXPECT_EQ(vela_domain_forbid_message(domain, nullptr), static_cast<u_int32>(VELA_EINVAL));
    vela_handle_set_domain(handle, domain);
    EXPECT_EQ(strlen(handle->domain_name), 63u);
    vela_domain_destroy(domain);
    vela_domain_destroy(nullptr);
}

}  // namespace
}  // namespace velalib_test
