# A cross build for 32-bit ARM with a floating-point unit, with Debian's compilers.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(PTP_CFG_TARGET arm-linux-gnueabihf)
include("${CMAKE_CURRENT_LIST_DIR}/linux-gnu.cmake")
