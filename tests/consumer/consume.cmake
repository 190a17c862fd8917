# Run by CTest; see CMakeLists.txt for the variables.

function(run)
    cmake_parse_arguments(arg "" "EXPECT;FOLDER" "COMMAND" ${ARGN})
    execute_process(COMMAND ${arg_COMMAND} WORKING_DIRECTORY "${arg_FOLDER}"
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    list(JOIN arg_COMMAND " " command)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
    endif()
    if(arg_EXPECT AND NOT output MATCHES "${arg_EXPECT}")
        message(FATAL_ERROR "${command}\nprinted no ${arg_EXPECT}:\n${output}")
    endif()
endfunction()

# Remove what an earlier run has installed.
file(REMOVE_RECURSE "${SCRATCH_DIR}")
set(prefix "${SCRATCH_DIR}/prefix")
run(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")
set(configure "${CMAKE_COMMAND}" -S "${PROJECT_DIR}" -B "${SCRATCH_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" "-DCMAKE_CXX_FLAGS=${FLAGS}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DWITH_MODELS=${WITH_MODELS}" "-DEXAMPLES=${prefix}/${DOC_DIR}/examples")
run(COMMAND ${configure} "-DWANTED_VERSION=${VERSION}")
run(COMMAND "${CMAKE_COMMAND}" --build "${SCRATCH_DIR}/build")
run(COMMAND "${SCRATCH_DIR}/build/consumer")
if(WITH_MODELS)
    run(COMMAND "${SCRATCH_DIR}/build/models_consumer")
endif()

# What find_package() accepts is what the SONAME promises.
run(COMMAND objdump -p "${SCRATCH_DIR}/build/consumer" EXPECT "NEEDED +libLxQuotaHandler.so.${SOVERSION}\n")
execute_process(COMMAND ${configure} -DWANTED_VERSION=0.0 RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE output)
if(result EQUAL 0 OR NOT output MATCHES "compatible with requested version")
    message(FATAL_ERROR "find_package() accepts version ${VERSION} for 0.0:\n${output}")
endif()

# The programs and the example run from where they are installed, without options, on the data installed with them.
run(COMMAND "${prefix}/bin/lxquote" --version)
run(COMMAND "${CMAKE_COMMAND}" -E env XDG_DATA_DIRS=/nowhere "${prefix}/bin/lxquote" snapshot 600519.SH FOLDER "${SCRATCH_DIR}" EXPECT "贵州茅台")
run(COMMAND "${CMAKE_COMMAND}" -E env "XDG_DATA_DIRS=${prefix}/share" --unset=LX_DATA_DIR
    bash -c "'${SCRATCH_DIR}/build/quotes' 600519.SH | head -n 1" FOLDER "${SCRATCH_DIR}" EXPECT "600519.SH 贵州茅台")

# The same by pkg-config.
find_program(pkg_config pkg-config REQUIRED)
file(GLOB_RECURSE package "${prefix}/*/lxquotahandler.pc")
get_filename_component(packages "${package}" DIRECTORY)
execute_process(COMMAND "${CMAKE_COMMAND}" -E env "PKG_CONFIG_PATH=${packages}"
    "${pkg_config}" --cflags --libs lxquotahandler lxmarkethost
    OUTPUT_VARIABLE by_pkg_config COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(by_pkg_config UNIX_COMMAND "${by_pkg_config}")
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
get_filename_component(libraries "${packages}" DIRECTORY)
run(COMMAND "${COMPILER}" -std=c++17 -fPIC ${flags} "${PROJECT_DIR}/main.cpp" -o "${SCRATCH_DIR}/by_pkg_config"
    ${by_pkg_config} "-Wl,-rpath,${libraries}")
run(COMMAND "${SCRATCH_DIR}/by_pkg_config")

# The runtime alone is libraries: no headers, no links for the linker, no programs.
run(COMMAND "${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${SCRATCH_DIR}/runtime" --component Runtime)
file(GLOB_RECURSE installed "${SCRATCH_DIR}/runtime/*")
list(FILTER installed EXCLUDE REGEX "/lib[^/]*\\.so\\.${VERSION}$|/lib[^/]*\\.so\\.${SOVERSION}$")
if(installed)
    message(FATAL_ERROR "the runtime has ${installed}")
endif()

# The headers and package files name no folder that exists on this machine only.
file(GLOB_RECURSE installed "${prefix}/include/*" "${prefix}/*.cmake" "${prefix}/*.pc")
foreach(file IN LISTS installed)
    file(READ "${file}" content)
    foreach(folder "${BUILD_DIR}" "${PROJECT_DIR}" "${prefix}")
        string(FIND "${content}" "${folder}" position)
        if(NOT position EQUAL -1)
            message(FATAL_ERROR "${file} names ${folder}")
        endif()
    endforeach()
endforeach()
