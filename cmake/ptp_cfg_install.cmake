# What `cmake --install` puts where: libraries, headers, the command line, and how other builds find them.

include(CMakePackageConfigHelpers)

set(libraries)
foreach(library IN ITEMS bitlog vela ptp_cfg)
    if(TARGET ${library})
        list(APPEND libraries ${library})
        set_target_properties(${library} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
        if(NOT TARGET ptp_cfg::${library})
            add_library(ptp_cfg::${library} ALIAS ${library})
        endif()
    endif()
endforeach()

set(header_folders platform/bitlog/include platform/velalib/include platform/transport/include module/include)
foreach(folder IN LISTS header_folders)
    if(EXISTS "${PROJECT_SOURCE_DIR}/${folder}")
        install(DIRECTORY "${folder}/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h")
    endif()
endforeach()
install(DIRECTORY "${PROJECT_BINARY_DIR}/generated/include/" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")

install(DIRECTORY "${PROJECT_BINARY_DIR}/generated/docs/reference/"
        DESTINATION "${CMAKE_INSTALL_DOCDIR}/reference" FILES_MATCHING PATTERN "*.md")

if(TARGET ptpcfg)
    install(TARGETS ptpcfg RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

if(libraries)
    install(TARGETS ${libraries} EXPORT ptp_cfg LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
            INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
    install(EXPORT ptp_cfg NAMESPACE ptp_cfg:: FILE ptp_cfg_targets.cmake
            DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/ptp_cfg")
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
