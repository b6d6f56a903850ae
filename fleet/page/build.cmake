# Builds the page in a copy of its sources below the build tree; packages are installed when their lock file changed.
file(COPY "${SOURCE}/src" "${SOURCE}/build.mjs" "${SOURCE}/tsconfig.json" "${SOURCE}/package.json" "${SOURCE}/.npmrc"
     DESTINATION "${BUILD}")
file(SHA256 "${SOURCE}/package-lock.json" wanted)
set(installed "")
if(EXISTS "${BUILD}/installed")
    file(READ "${BUILD}/installed" installed)
endif()

set(result 0)
if(NOT installed STREQUAL wanted)
    file(COPY "${SOURCE}/package-lock.json" DESTINATION "${BUILD}")
    execute_process(COMMAND "${NPM}" ci --ignore-scripts --prefer-offline --fetch-retries=2 --fetch-timeout=20000
                    WORKING_DIRECTORY "${BUILD}" OUTPUT_VARIABLE said ERROR_VARIABLE said RESULT_VARIABLE result)
    if(result EQUAL 0)
        file(WRITE "${BUILD}/installed" "${wanted}")
    endif()
endif()
if(result EQUAL 0)
    file(REMOVE_RECURSE "${BUILD}/out")
    execute_process(COMMAND "${NODE}" build.mjs out
                    WORKING_DIRECTORY "${BUILD}" OUTPUT_VARIABLE said ERROR_VARIABLE said RESULT_VARIABLE result)
endif()

if(NOT result EQUAL 0 AND WANTED STREQUAL "AUTO")
    file(REMOVE_RECURSE "${BUILD}/out")
    message(WARNING "The page of ptp_fleet could not be built, so it will have none. "
                    "Touch ${SOURCE}/package.json to try again, or set PTP_CFG_FLEET_PAGE to OFF.\n${said}")
elseif(NOT result EQUAL 0)
    message(FATAL_ERROR "The page of ptp_fleet could not be built; set PTP_CFG_FLEET_PAGE to OFF to go without.\n${said}")
endif()
file(TOUCH "${BUILD}/stamp")
