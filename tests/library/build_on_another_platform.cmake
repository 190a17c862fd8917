# Assembles the recording double as a foreign client platform, headers in include/ and libraries in lib/, and builds and
# installs the top-level project against it: the library alone, unchanged. Three of the headers are replaced by ones that
# use what the project's own code forbids: signals:, slots:, emit, foreach, conversions from string literals.
#
# Builds with g++ and clang++, as C++17 and C++20.

file(REMOVE_RECURSE "${SCRATCH}")
file(COPY "${DOUBLE_DIR}/" DESTINATION "${SCRATCH}/platform/include"
    FILES_MATCHING PATTERN "*.h" PATTERN "*_p.h" EXCLUDE)
file(COPY "${KEYWORD_HEADERS}/" DESTINATION "${SCRATCH}/platform/include")
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

# Without optimisation and debug information, which this test does not need. Further arguments go to cmake.
function(build directory compiler standard)
    run("${CMAKE_COMMAND}" -S "${SOURCE_DIR}" -B "${directory}" -G "${GENERATOR}"
        "-DCMAKE_CXX_COMPILER=${compiler}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}"
        "-DCMAKE_CXX_STANDARD=${standard}" -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O0"
        -DLX_WERROR=ON "-DLX_PLATFORM_ROOT=${SCRATCH}/platform"
        "-DCMAKE_INSTALL_PREFIX=${SCRATCH}/installed" ${ARGN})
    run("${CMAKE_COMMAND}" --build "${directory}" --parallel 2)
endfunction()

find_program(gcc g++ REQUIRED)
find_program(clang clang++ REQUIRED)
build("${SCRATCH}/build" "${gcc}" 17)
run("${CMAKE_COMMAND}" --install "${SCRATCH}/build")
# As one source file each, which takes a fraction of the time.
set(unity -DCMAKE_UNITY_BUILD=ON -DCMAKE_UNITY_BUILD_BATCH_SIZE=0)
build("${SCRATCH}/build" "${gcc}" 20 ${unity})
build("${SCRATCH}/build_clang" "${clang}" 17 ${unity})
build("${SCRATCH}/build_clang" "${clang}" 20 ${unity})

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
