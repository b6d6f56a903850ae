# Fails when the files that the build expects are not those that the generator lists, reference pages left aside.

execute_process(COMMAND "${CODEGEN}" --schema "${ROOT}/schema" --templates "${ROOT}/codegen/templates" --list
                OUTPUT_VARIABLE listed COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "\n$" "" listed "${listed}")
string(REPLACE "\n" ";" listed "${listed}")
list(FILTER listed EXCLUDE REGEX "^docs/reference/")
list(TRANSFORM EXPECTED REPLACE "^${DIRECTORY}/" "")
list(SORT listed)
list(SORT EXPECTED)
if(NOT listed STREQUAL EXPECTED)
    message(FATAL_ERROR "the generator writes\n${listed}\nbut codegen/CMakeLists.txt expects\n${EXPECTED}")
endif()
