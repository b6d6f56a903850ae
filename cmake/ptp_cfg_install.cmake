# What `cmake --install` puts where: libraries, headers, the command line, how other builds find them, and what to read.

include(CMakePackageConfigHelpers)

# The runtime's inline C++ forms are what record libraries are built of; programs have ptp_cfg_inline.h.
foreach(folder IN ITEMS platform/bitlog platform/velalib platform/transport platform/recorder
               module)
    install(DIRECTORY "${folder}/include/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h"
            PATTERN "velalib_inline.h" EXCLUDE PATTERN "velalib/inline" EXCLUDE)
endforeach()
install(DIRECTORY "${PTP_CFG_GENERATED_INCLUDE_DIR}/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")

if(PTP_CFG_CPP)
    install(DIRECTORY cpp/include/ "${PTP_CFG_GENERATED_INCLUDE_DIR}/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
            FILES_MATCHING PATTERN "*.hpp")
    install(TARGETS ptp_cfg_cpp EXPORT ptp_cfg)
endif()

install(TARGETS bitlog vela ptp_cfg EXPORT ptp_cfg LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
        ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT ptp_cfg NAMESPACE ptp_cfg:: FILE ptp_cfg_targets.cmake
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/ptp_cfg")
if(PTP_CFG_TOOLS)
    install(TARGETS ptpcfg RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    if(PTPCFG_HELP_DIR)
        install(FILES "${PTPCFG_HELP_DIR}/ptpcfg.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
        install(FILES "${PTPCFG_HELP_DIR}/ptpcfg.bash" RENAME ptpcfg
                DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
        install(FILES "${PTPCFG_HELP_DIR}/_ptpcfg" DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
        install(FILES "${PTPCFG_HELP_DIR}/ptpcfg.fish" DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
    endif()
endif()

if(PTP_CFG_NATS)
    install(TARGETS vela_nats LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/vela")
endif()

if(PTP_CFG_FLEET)
    install(TARGETS ptp_fleet RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    install(FILES fleet/systemd/ptp_fleet.8 DESTINATION "${CMAKE_INSTALL_MANDIR}/man8")
    install(FILES fleet/systemd/ptp_fleet.service DESTINATION lib/systemd/system)
    install(FILES fleet/systemd/ptp_fleet.toml fleet/systemd/ptp_fleet.rules.yml
            DESTINATION "${CMAKE_INSTALL_DOCDIR}/fleet")
endif()

if(PTP_CFG_AGENT)
    install(TARGETS ptp_agent RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
    install(FILES agent/systemd/ptp_agent.service DESTINATION lib/systemd/system)
    install(FILES agent/systemd/ptp_agent.sysusers RENAME ptp_agent.conf DESTINATION lib/sysusers.d)
    install(FILES agent/systemd/ptp_agent.8 DESTINATION "${CMAKE_INSTALL_MANDIR}/man8")
    install(FILES agent/systemd/ptp_agent.toml agent/systemd/ptp_agent.rules agent/behaviour.toml
            DESTINATION "${CMAKE_INSTALL_DOCDIR}/agent")
endif()

if(PTP_CFG_DISSECTOR)
    # Where Wireshark looks for plugins in Lua; it also takes the file from a user's own folder.
    set(PTP_CFG_WIRESHARK_PLUGIN_DIR "${CMAKE_INSTALL_LIBDIR}/wireshark/plugins" CACHE STRING
        "Where the dissector for Wireshark is installed")
    install(FILES "${PTP_CFG_DISSECTOR_FILE}" DESTINATION "${PTP_CFG_WIRESHARK_PLUGIN_DIR}")
endif()

# What README.md refers to lies beside it as in the source tree, except for tests/ and bench/.
install(FILES README.md CHANGELOG.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(DIRECTORY docs DESTINATION "${CMAKE_INSTALL_DOCDIR}" FILES_MATCHING PATTERN "*.md" PATTERN "*.png")
install(DIRECTORY schema DESTINATION "${CMAKE_INSTALL_DOCDIR}" FILES_MATCHING PATTERN "*.toml")
# The scripts of the demo play the build tree.
install(DIRECTORY examples DESTINATION "${CMAKE_INSTALL_DOCDIR}"
        PATTERN run EXCLUDE PATTERN two_programs EXCLUDE PATTERN network.sh EXCLUDE)
install(DIRECTORY "${PTP_CFG_REFERENCE_DIR}" DESTINATION "${CMAKE_INSTALL_DOCDIR}")

# What static libraries leave to the program that is linked with them.
set(PTP_CFG_LIBS_PRIVATE)
set(PTP_CFG_FIND_DEPENDENCIES)
if(PTP_CFG_STATIC)
    set(PTP_CFG_CXX_RUNTIME stdc++)
    if("c++" IN_LIST CMAKE_CXX_IMPLICIT_LINK_LIBRARIES)
        set(PTP_CFG_CXX_RUNTIME c++)
    endif()
    set(PTP_CFG_FIND_DEPENDENCIES "include(CMakeFindDependencyMacro)\nfind_dependency(BZip2)")
    set(PTP_CFG_LIBS_PRIVATE "-Wl,--build-id")
    if(PTP_CFG_XML)
        string(APPEND PTP_CFG_FIND_DEPENDENCIES "\nfind_dependency(pugixml)")
        string(APPEND PTP_CFG_LIBS_PRIVATE " -lpugixml")
    endif()
    string(APPEND PTP_CFG_LIBS_PRIVATE " -lelf -lbz2 -l${PTP_CFG_CXX_RUNTIME}")
endif()
configure_package_config_file("${PROJECT_SOURCE_DIR}/packaging/ptp_cfg-config.cmake.in"
                              "${PROJECT_BINARY_DIR}/packaging/ptp_cfg-config.cmake"
                              INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/ptp_cfg")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/packaging/ptp_cfg-config-version.cmake"
                                 COMPATIBILITY SameMajorVersion)
file(RELATIVE_PATH PTP_CFG_PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file("${PROJECT_SOURCE_DIR}/packaging/ptp_cfg.pc.in" "${PROJECT_BINARY_DIR}/packaging/ptp_cfg.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/packaging/ptp_cfg-config.cmake"
              "${PROJECT_BINARY_DIR}/packaging/ptp_cfg-config-version.cmake"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/ptp_cfg")
install(FILES "${PROJECT_BINARY_DIR}/packaging/ptp_cfg.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
