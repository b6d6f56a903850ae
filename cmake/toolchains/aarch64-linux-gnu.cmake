# A cross build for 64-bit ARM with Debian's compilers, and a pattern for others: docs/cross-building.md.
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(PTP_CFG_TARGET aarch64-linux-gnu)
include("${CMAKE_CURRENT_LIST_DIR}/linux-gnu.cmake")
