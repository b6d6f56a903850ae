# What cross builds with Debian's compilers share; the file of a processor sets PTP_CFG_TARGET and includes this.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${PTP_CFG_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${PTP_CFG_TARGET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${PTP_CFG_TARGET})

set(PTP_CFG_TARGET_ROOT "" CACHE PATH "Folder with the libraries and headers of the target, below usr/")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PTP_CFG_TARGET_ROOT)
set(CMAKE_FIND_ROOT_PATH "${PTP_CFG_TARGET_ROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# The linker finds there what those libraries need in their turn.
foreach(folder IN ITEMS usr/lib lib)
    foreach(kind IN ITEMS SHARED EXE)
        string(APPEND CMAKE_${kind}_LINKER_FLAGS_INIT
               " -Wl,-rpath-link,${PTP_CFG_TARGET_ROOT}/${folder}/${CMAKE_LIBRARY_ARCHITECTURE}")
    endforeach()
endforeach()
