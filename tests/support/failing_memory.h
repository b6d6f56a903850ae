// Memory that fails when a test says so: every allocation with new of the program, and what asks refuse() besides.
#pragma once

namespace test {

/** Decides which allocations of a thread fail; none does until it is told. */
class failing_memory {
  public:
    /** Lets `allocations` more be made, and then fails one, or that and all after it. */
    void fail_after(long allocations, bool for_good = true) {
        left_ = allocations;
        for_good_ = for_good;
        has_failed_ = false;
    }
    void stop() { left_ = -1; }
    /** Whether one failed since fail_after(). */
    bool has_failed() const { return has_failed_; }

    /** To be asked before each allocation. */
    bool refuses() {
        if (left_ < 0 || left_-- > 0) {
            return false;
        }
        has_failed_ = true;
        left_ = for_good_ ? 0 : -1;
        return true;
    }

  private:
    long left_ = -1;  // allocations until the first that fails; negative: off
    bool for_good_ = false;
    bool has_failed_ = false;
};

extern thread_local failing_memory memory;

/** Whether the program's new fails when it is told: not under valgrind, which has one of its own. */
bool can_fail();

/** malloc() unless memory refuses; to be released with free(). */
void *allocate(unsigned long size);

}  // namespace test
