# Run by CTest; see CMakeLists.txt for the variables.

function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGV " " command)
        message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
    endif()
endfunction()

# Nothing of an earlier run may help.
file(REMOVE_RECURSE "${SCRATCH_DIR}")
set(prefix "${SCRATCH_DIR}/prefix")
run("${CMAKE_COMMAND}" --install "${BUILD_DIR}" --prefix "${prefix}")
run("${CMAKE_COMMAND}" -S "${PROJECT_DIR}" -B "${SCRATCH_DIR}/build" -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_BUILD_TYPE=${BUILD_TYPE}" "-DCMAKE_CXX_FLAGS=${FLAGS}"
    "-DCMAKE_PREFIX_PATH=${prefix}" "-DWANTED_VERSION=${VERSION}")
run("${CMAKE_COMMAND}" --build "${SCRATCH_DIR}/build")
run("${SCRATCH_DIR}/build/consumer")

# The programs run from where they are installed.
run("${prefix}/bin/lxquote" --version)

# The headers and package files name no folder that exists on this machine only.
file(GLOB_RECURSE installed "${prefix}/include/*" "${prefix}/*.cmake")
foreach(file IN LISTS installed)
    file(READ "${file}" content)
    foreach(folder "${BUILD_DIR}" "${PROJECT_DIR}" "${prefix}")
        string(FIND "${content}" "${folder}" position)
        if(NOT position EQUAL -1)
            message(FATAL_ERROR "${file} names ${folder}")
        endif()
    endforeach()
endforeach()
