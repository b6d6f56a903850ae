# Fails when one of HEADERS does not compile by itself, as C or as C++. C++11 is what the oldest callers have.

set(warnings -Wall -Wextra -pedantic -Werror)
list(TRANSFORM INCLUDES PREPEND -I)
foreach(header IN LISTS HEADERS)
    foreach(compiler IN ITEMS "${CC};-std=c11;-x;c" "${CXX};-std=c++11;-x;c++")
        execute_process(COMMAND ${compiler} ${warnings} -fsyntax-only ${INCLUDES} "${header}" RESULT_VARIABLE result)
        if(NOT result EQUAL 0)
            message(SEND_ERROR "${header} does not stand alone: ${compiler}")
        endif()
    endforeach()
endforeach()
