# Speeds up repeated builds: uses a compiler cache and a fast linker if they are installed, and precompiles Qt's headers.
# Release builds do without, so that they detect a missing #include.

find_program(LX_CCACHE ccache)
if(LX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # ccache refuses precompiled headers unless it may ignore macros that they do not use.
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CMAKE_COMMAND}" -E env CCACHE_SLOPPINESS=pch_defines,time_macros "${LX_CCACHE}")
endif()

find_program(LX_MOLD mold)
if(LX_MOLD)
    add_link_options(-fuse-ld=mold)
endif()

# lx_precompile_headers(): makes the libraries of the project share one precompiled <QtCore>, except in folders that clear
# the project's compile definitions, such as those that build the quotation library. Programs would need another one, since
# they are compiled with -fPIE; tests have their own.
function(lx_precompile_headers)
    add_library(lx_headers OBJECT "${PROJECT_SOURCE_DIR}/cmake/libraryheaders.cpp")
    target_link_libraries(lx_headers PRIVATE Qt5::Core)
    set_target_properties(lx_headers PROPERTIES AUTOMOC OFF)
    target_precompile_headers(lx_headers PRIVATE <QtCore>)
    lx_reuse_precompiled_headers("${PROJECT_SOURCE_DIR}")
endfunction()

function(lx_reuse_precompiled_headers folder)
    get_directory_property(definitions DIRECTORY "${folder}" COMPILE_DEFINITIONS)
    get_directory_property(targets DIRECTORY "${folder}" BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        if(definitions AND type MATCHES "^(STATIC|SHARED|OBJECT|MODULE)_LIBRARY" AND NOT target STREQUAL lx_headers)
            target_precompile_headers(${target} REUSE_FROM lx_headers)
        endif()
    endforeach()
    get_directory_property(subfolders DIRECTORY "${folder}" SUBDIRECTORIES)
    foreach(subfolder IN LISTS subfolders)
        lx_reuse_precompiled_headers("${subfolder}")
    endforeach()
endfunction()
