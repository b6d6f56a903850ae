// The loaded modules, held for the length of a block: none comes or goes meanwhile.
#pragma once

#include "velalib/runtime.h"

namespace velalib {

class held_modules {
  public:
    held_modules() { vela_modules_lock(); }
    ~held_modules() { vela_modules_unlock(); }
    held_modules(const held_modules &) = delete;
    held_modules &operator=(const held_modules &) = delete;
};

}  // namespace velalib
