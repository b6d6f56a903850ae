// Faults of an input that are told together.
#pragma once

#include <string>

namespace ptpcfg {

class fault_list {
  public:
    /** @param name  of the input */
    explicit fault_list(std::string name) : name_(std::move(name)) {}

    /** @param fault  a line: place, path and reason */
    void add(const std::string &fault);
    bool empty() const { return count_ == 0; }
    /** Throws what there is as one failure, a line each; of very many only how many they are. */
    void fail_if_any() const;

  private:
    std::string name_;
    std::string text_;
    size_t count_ = 0;
};

}  // namespace ptpcfg
