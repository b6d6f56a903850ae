// Identifiers of instances and the references that addresses hold to them.
#include "test_support.h"

#include "velalib_inline.h"

namespace velalib_test {
namespace {

std::vector<std::pair<void *, u_int32>> destroyed;  // instance and memory class

class object_reference_test : public handle_test {
  protected:
    void SetUp() override {
        handle_test::SetUp();
        destroyed.clear();
        vela_oid_mapping_attach(
            handle, test_class, &object,
            [](vela_handle *, u_int32 mem_class, void *instance) { destroyed.emplace_back(instance, mem_class); },
            &err);
        ASSERT_EQ(err, 0u);
        seen.stores.clear();
    }

    void attach(void *to) { en_address_attach_reference(handle, test_class, &field, to, &err); }
    void release(void *from) { velalib_lookup_and_update_oid_ref_count(handle, test_class, from, 0, &err); }
    u_int32 held() { return en_address_get_oid_count(handle, test_class, &field, &err); }

    small_instance object;
    small_instance other;
    en_address field = {};
};

TEST_F(object_reference_test, UnreferencedObjectsGoAtOnce) {
    EXPECT_EQ(object.header.flags, VELA_FLAG_OID);
    EXPECT_EQ(vela_request_oid_mapping_destroy(handle, test_class, &object, &err), 1u);
    EXPECT_EQ(object.header.flags, 0);
    EXPECT_EQ(seen.stores, (std::vector<announcement>{{&object.header.flags, 1, test_class}}));
    EXPECT_EQ(vela_request_oid_mapping_destroy(handle, test_class, &object, &err), 0u);
    expect_failure(VELA_ENOENT);
    EXPECT_TRUE(destroyed.empty());
}

TEST_F(object_reference_test, ReferencedObjectsGoWithTheLastReference) {
    velalib_lookup_and_update_oid_ref_count(handle, test_class, &object, 1, &err);
    attach(&object);
    EXPECT_EQ(vela_oid_reference_count(handle, &object), 2u);
    release(&object);
    release(&object);
    EXPECT_TRUE(destroyed.empty());  // nobody asked for it yet
    EXPECT_EQ(object.header.flags, VELA_FLAG_OID);
    velalib_lookup_and_update_oid_ref_count(handle, test_class, &object, 1, &err);
    EXPECT_EQ(vela_request_oid_mapping_destroy(handle, 9, &object, &err), 0u);
    EXPECT_EQ(err, 0u);
    release(&object);
    EXPECT_EQ(destroyed, (std::vector<std::pair<void *, u_int32>>{{&object, 9}}));
    EXPECT_EQ(object.header.flags, 0);
    release(&object);
    expect_failure(VELA_ENOENT);
}

TEST_F(object_reference_test, FieldsListTheirReferences) {
    EXPECT_EQ(held(), 0u);
    vela_oid_mapping_attach(handle, test_class, &other, nullptr, &err);
    attach(&object);
    attach(&other);
    attach(&object);
    EXPECT_EQ(held(), 3u);
    EXPECT_EQ(vela_inline::en_address_get_oid_count(handle, test_class, &field, &err), 3u);
    void *list[3] = {};
    en_address_get_object_references(handle, test_class, &field, list, 3, &err);
    EXPECT_EQ(std::vector<void *>(list, list + 3), (std::vector<void *>{&object, &other, &object}));
    void *first = nullptr;
    en_address_get_object_references(handle, test_class, &field, &first, 1, &err);
    EXPECT_EQ(first, &object);
    expect_failure(VELA_ENOSPC);
    en_address elsewhere = {};
    EXPECT_EQ(en_address_get_oid_count(handle, test_class, &elsewhere, &err), 0u);
    vela_inline::en_address_destroy_internal(handle, test_class, &field, 0u);
    EXPECT_EQ(held(), 0u);
    EXPECT_EQ(vela_oid_reference_count(handle, &object), 2u);  // forgotten, not released
}

TEST_F(object_reference_test, FailuresOfFieldsCanBeMet) {
    attach(&object);
    attach(nullptr);  // not known yet
    void *list[2] = {};
    EXPECT_EQ(held(), 2u);
    en_address_get_object_references(handle, test_class, &field, list, 2, &err);
    expect_failure(VELA_ENOENT);
    vela_oid_mapping_detach(handle, test_class, &object, &err);
    release(&object);
    expect_failure(VELA_ENOENT);
    attach(&other);
    expect_failure(VELA_ENOENT);
    en_address_get_object_references(handle, test_class, &field, nullptr, 2, &err);
    expect_failure(VELA_EINVAL);
    EXPECT_EQ(en_address_get_oid_count(handle, test_class, nullptr, &err), 0u);
    expect_failure(VELA_EINVAL);
    en_address_attach_reference(handle, test_class, nullptr, &object, &err);
    expect_failure(VELA_EINVAL);
}

TEST_F(object_reference_test, MappingsAreMadeOnceAndReleasedNoMoreThanTaken) {
    vela_oid_mapping_attach(handle, test_class, &object, nullptr, &err);
    expect_failure(VELA_EINVAL);
    vela_oid_mapping_attach(handle, test_class, nullptr, nullptr, &err);
    expect_failure(VELA_EINVAL);
    release(&object);
    expect_failure(VELA_EINVAL);
    vela_oid_mapping_detach(handle, test_class, &other, &err);
    expect_failure(VELA_ENOENT);
    err = VELA_ENOMEM;
    velalib_lookup_and_update_oid_ref_count(handle, test_class, &object, 1, &err);
    EXPECT_EQ(vela_request_oid_mapping_destroy(handle, test_class, &object, &err), 0u);
    EXPECT_EQ(vela_oid_reference_count(handle, &object), 0u);
    EXPECT_EQ(object.header.flags, VELA_FLAG_OID);
    err = 0;
}

}  // namespace
}  // namespace velalib_test
