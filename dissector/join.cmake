# cmake -DOUTPUT=FILE -DMODULES="NAME=FILE;..." -DMAIN=FILE -P join.cmake
# Joins modules of Lua and the program that requires them in one file, for a packet analyser loads each file by itself.
file(READ "${MAIN}" main)
set(text "-- Dissector of ptp_cfg's messages for Wireshark and tshark; one file, made of several.\n")
foreach(module IN LISTS MODULES)
    string(REGEX MATCH "^([^=]+)=(.+)$" matched "${module}")
    set(name "${CMAKE_MATCH_1}")
    file(READ "${CMAKE_MATCH_2}" content)
    string(APPEND text "package.preload[\"${name}\"] = function()\n${content}end\n\n")
endforeach()
file(WRITE "${OUTPUT}" "${text}${main}")
