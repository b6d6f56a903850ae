# Fails when one of HEADERS, or of those written by hand in HAND_WRITTEN folders, does not compile by itself as C11 and as
# C++11, or all of them together in another standard or with another compiler, in programs that are strict with themselves.

set(warnings -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Werror)
list(TRANSFORM INCLUDES PREPEND -I)
foreach(folder IN LISTS HAND_WRITTEN)
    file(GLOB_RECURSE found "${folder}/*.h")
    # What record libraries are built of, in the C++ of the day.
    list(FILTER found EXCLUDE REGEX "velalib_inline.h$|velalib/inline/")
    list(APPEND HEADERS ${found})
endforeach()

function(check what)
    execute_process(COMMAND ${ARGN} ${warnings} -fsyntax-only ${INCLUDES} RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(SEND_ERROR "${what} does not compile: ${ARGN}")
    endif()
endfunction()

set(all "${SCRATCH}/all_headers")
file(WRITE "${all}" "")
foreach(header IN LISTS HEADERS)
    check("${header}" "${CC}" -std=c11 -x c "${header}")
    check("${header}" "${CXX}" -std=c++11 -x c++ "${header}")
    file(APPEND "${all}" "#include \"${header}\"\n")
endforeach()

find_program(CLANG clang)
find_program(CLANGXX clang++)
foreach(standard IN ITEMS c99 c11 c17)
    foreach(compiler IN LISTS CC CLANG)
        if(compiler)
            check("all headers" "${compiler}" -std=${standard} -x c "${all}")
        endif()
    endforeach()
endforeach()
foreach(standard IN ITEMS c++11 c++17 c++20 c++2b)
    foreach(compiler IN LISTS CXX CLANGXX)
        if(compiler)
            check("all headers" "${compiler}" -std=${standard} -x c++ "${all}")
        endif()
    endforeach()
endforeach()

# Where instances would be laid out otherwise, that is said.
if(CLANG)
    file(WRITE "${SCRATCH}/of_32_bits.c" "#include \"velalib/types.h\"\n")
    execute_process(COMMAND "${CLANG}" --target=armv7-none-eabi -ffreestanding -fsyntax-only ${INCLUDES}
                            "${SCRATCH}/of_32_bits.c" RESULT_VARIABLE result ERROR_VARIABLE said)
    if(result EQUAL 0 OR NOT said MATCHES "pointers of 64 bits")
        message(SEND_ERROR "a processor of 32 bits is not refused: ${said}")
    endif()
endif()
