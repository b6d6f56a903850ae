# A cross build for 64-bit ARM with Debian's compilers, and a pattern for others: docs/cross-building.md.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(PTP_CFG_TARGET_ROOT "" CACHE PATH "Folder with the libraries and headers of the target, below usr/")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PTP_CFG_TARGET_ROOT)
set(CMAKE_FIND_ROOT_PATH "${PTP_CFG_TARGET_ROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The linker finds there what those libraries need in their turn.
foreach(folder IN ITEMS usr/lib lib)
    string(APPEND CMAKE_SHARED_LINKER_FLAGS_INIT
           " -Wl,-rpath-link,${PTP_CFG_TARGET_ROOT}/${folder}/${CMAKE_LIBRARY_ARCHITECTURE}")
    string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT
           " -Wl,-rpath-link,${PTP_CFG_TARGET_ROOT}/${folder}/${CMAKE_LIBRARY_ARCHITECTURE}")
endforeach()
