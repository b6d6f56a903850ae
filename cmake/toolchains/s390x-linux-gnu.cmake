# A cross build for a 64-bit processor whose bytes are in network order, with Debian's compilers.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(PTP_CFG_TARGET s390x-linux-gnu)
include("${CMAKE_CURRENT_LIST_DIR}/linux-gnu.cmake")
