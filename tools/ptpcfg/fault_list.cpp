// Collects faults, and fails with all of them.
#include "fault_list.h"

#include "failure.h"

namespace ptpcfg {
namespace {

constexpr size_t most_told = 20;

}  // namespace

void fault_list::add(const std::string &fault) {
    if (text_ == fault || text_.ends_with("\n" + fault)) {
        return;  // who reads a piece and who cuts the input into pieces may find the same
    }
    if (++count_ <= most_told) {
        text_ += (text_.empty() ? "" : "\n") + fault;
    }
}

void fault_list::fail_if_any() const {
    if (empty()) {
        return;
    }
    throw failure(exit_code::bad_input, count_ <= most_told ? text_
                                                            : text_ + "\n" + name_ + ": and " +
                                                                  std::to_string(count_ - most_told) + " more faults");
}

}  // namespace ptpcfg
