# Compiler settings that hold for every target of the tree.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# Only what a header marks VELA_API or BITLOG_API leaves a library.
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

set(PTP_CFG_LIBRARY_TYPE SHARED)
if(PTP_CFG_STATIC)
    # What a program does not call is left out of it by the linker's --gc-sections.
    set(PTP_CFG_LIBRARY_TYPE STATIC)
    add_compile_options(-ffunction-sections -fdata-sections)
endif()

# Programs find the libraries in the build tree and in an install tree that was moved.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")

add_compile_options(-Wall -Wextra $<$<BOOL:${PTP_CFG_WERROR}>:-Werror>)
# GCC 12 warns of overlapping copies inside std::string's own operator+.
add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict>)
# Reproducible: no path of the building machine gets into a product.
add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=" "-ffile-prefix-map=${PROJECT_BINARY_DIR}/=")

if(PTP_CFG_COUNT_PATHS)
    add_compile_definitions(PTP_CFG_COUNT_PATHS=1)
endif()

set(PTP_CFG_SANITIZE_FLAG -fsanitize=address,undefined)
if(PTP_CFG_SANITIZE)
    add_compile_options(${PTP_CFG_SANITIZE_FLAG} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # With these checks GCC 12 no longer takes the address of a constant for known to be non-null, so that
        # constant expressions over the tables fail. A null pointer that is used still ends the program.
        add_compile_options(-fno-sanitize=null,nonnull-attribute,returns-nonnull-attribute)
    endif()
    add_link_options(${PTP_CFG_SANITIZE_FLAG})
endif()
if(PTP_CFG_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
# A library that leaves symbols open is a mistake, except that clang resolves the sanitizers' in the program.
if(NOT (PTP_CFG_SANITIZE AND CMAKE_CXX_COMPILER_ID MATCHES "Clang"))
    string(APPEND CMAKE_SHARED_LINKER_FLAGS " -Wl,-z,defs")
endif()

find_program(CCACHE ccache)
if(CCACHE)
    # Without these it takes nothing that uses headers compiled ahead.
    set(CMAKE_C_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros "${CCACHE}")
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
endif()
mark_as_advanced(CCACHE)
