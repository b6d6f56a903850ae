// What the runtime keeps about objects of the application, found by their address.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <type_traits>

namespace velalib {

/**
 * An open-addressing table from addresses to small values. Removal moves later entries back, so that a table under
 * churn needs no tombstones and stays as small as its largest population. It reports a lack of memory instead of
 * throwing.
 */
template <typename Value>
class pointer_map {
    static_assert(std::is_trivially_copyable_v<Value>);

  public:
    pointer_map() = default;
    ~pointer_map() { std::free(slots_); }
    pointer_map(const pointer_map &) = delete;
    pointer_map &operator=(const pointer_map &) = delete;

    uint32_t size() const { return size_; }
    uint32_t capacity() const { return capacity_; }

    /** The value of an address, or nullptr; valid until the next insert or erase. */
    Value *find(const void *key) const {
        if (size_ == 0 || key == nullptr) {
            return nullptr;
        }
        for (uint32_t i = home(key);; i = next(i)) {
            if (slots_[i].key == key) {
                return &slots_[i].value;
            }
            if (slots_[i].key == nullptr) {
                return nullptr;
            }
        }
    }

    /** Sets the value of an address that is not null; false without memory. */
    bool insert(const void *key, const Value &value) {
        if (Value *known = find(key)) {
            *known = value;
            return true;
        }
        if ((size_ + 1) * 4 > capacity_ * 3 && !grow()) {
            return false;
        }
        place(key, value);
        ++size_;
        return true;
    }

    /** Drops an address; false when it was not there. */
    bool erase(const void *key) {
        if (size_ == 0 || key == nullptr) {
            return false;
        }
        uint32_t hole = home(key);
        while (slots_[hole].key != key) {
            if (slots_[hole].key == nullptr) {
                return false;
            }
            hole = next(hole);
        }
        for (uint32_t i = next(hole); slots_[i].key != nullptr; i = next(i)) {
            // An entry may fill the hole when the hole lies on its way from its home to here.
            if (((i - home(slots_[i].key)) & mask()) < ((i - hole) & mask())) {
                continue;
            }
            slots_[hole] = slots_[i];
            hole = i;
        }
        slots_[hole].key = nullptr;
        --size_;
        return true;
    }

    /** Calls visit(key, value) for each entry. */
    template <typename Visit>
    void for_each(Visit visit) const {
        for (uint32_t i = 0; i < capacity_; ++i) {
            if (slots_[i].key != nullptr) {
                visit(slots_[i].key, slots_[i].value);
            }
        }
    }

  private:
    struct slot {
        const void *key;
        Value value;
    };

    uint32_t mask() const { return capacity_ - 1; }
    uint32_t next(uint32_t index) const { return (index + 1) & mask(); }
    uint32_t home(const void *key) const {
        return static_cast<uint32_t>((reinterpret_cast<uintptr_t>(key) * UINT64_C(0x9E3779B97F4A7C15)) >> 32) & mask();
    }

    void place(const void *key, const Value &value) {
        uint32_t i = home(key);
        while (slots_[i].key != nullptr) {
            i = next(i);
        }
        slots_[i].key = key;
        slots_[i].value = value;
    }

    bool grow() {
        slot *const old = slots_;
        const uint32_t old_capacity = capacity_;
        const uint32_t wanted = old_capacity == 0 ? 16 : old_capacity * 2;
        slot *fresh = static_cast<slot *>(std::calloc(wanted, sizeof(slot)));
        if (fresh == nullptr) {
            return false;
        }
        slots_ = fresh;
        capacity_ = wanted;
        for (uint32_t i = 0; i < old_capacity; ++i) {
            if (old[i].key != nullptr) {
                place(old[i].key, old[i].value);
            }
        }
        std::free(old);
        return true;
    }

    slot *slots_ = nullptr;
    uint32_t capacity_ = 0;
    uint32_t size_ = 0;
};

}  // namespace velalib
