# Assembles the recording double as a foreign client platform, headers in include/ and libraries in lib/, and builds and
# installs the top-level project against it: the library alone, unchanged.

file(REMOVE_RECURSE "${SCRATCH}")
file(COPY "${DOUBLE_DIR}/" DESTINATION "${SCRATCH}/platform/include"
    FILES_MATCHING PATTERN "*.h" PATTERN "*_p.h" EXCLUDE)
file(GLOB libraries "${DOUBLE_LIBRARY_DIR}/*")
list(FILTER libraries EXCLUDE REGEX "LxQuotaHandler")
file(COPY ${libraries} DESTINATION "${SCRATCH}/platform/lib")

function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        string(REPLACE ";" " " command "${ARGV}")
        message(FATAL_ERROR "failed: ${command}")
    endif()
endfunction()

run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${SCRATCH}/build" -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" "-DLX_SANITIZE=${SANITIZE}" -DLX_WERROR=ON
    "-DLX_PLATFORM_ROOT=${SCRATCH}/platform" "-DCMAKE_INSTALL_PREFIX=${SCRATCH}/installed")
run("${CMAKE_COMMAND}" --build "${SCRATCH}/build" --parallel 2)
run("${CMAKE_COMMAND}" --install "${SCRATCH}/build")

file(GLOB_RECURSE built "${SCRATCH}/build/*LxQuotaHandler${LIBRARY_SUFFIX}")
file(GLOB_RECURSE others "${SCRATCH}/build/*lx[mwud]*${LIBRARY_SUFFIX}")
if(NOT built OR others)
    message(FATAL_ERROR "built ${built} and ${others}, not the library alone")
endif()
file(GLOB_RECURSE headers RELATIVE "${SCRATCH}/installed" "${SCRATCH}/installed/*.h")
list(LENGTH headers count)
if(NOT count EQUAL 3)
    message(FATAL_ERROR "installed ${headers}, not the three public headers")
endif()
