// Whether a tool watches how this process uses memory.
#pragma once

namespace velalib {

/** Whether memcheck runs the process, or an address sanitizer is part of it; looked up once. */
bool memory_is_watched();

}  // namespace velalib
