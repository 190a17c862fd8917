# How libraries and programs are installed. Components: Runtime (the library and the platform), Models, Host, Tools
# (lxquote), Service (marketd), Board, Devel, Data (a recorded day), Doc.
#
# A version promises its binary interface by two means, which therefore agree: the SONAME of the libraries, and what
# find_package() accepts. That is the major version; before 1.0, where every minor version may break the interface, the
# major and minor version.
if(PROJECT_VERSION_MAJOR EQUAL 0)
    set(LX_SOVERSION "${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")
    set(LX_VERSION_COMPATIBILITY SameMinorVersion)
else()
    set(LX_SOVERSION "${PROJECT_VERSION_MAJOR}")
    set(LX_VERSION_COMPATIBILITY SameMajorVersion)
endif()

set(LX_INSTALL_DATA_DIR "${CMAKE_INSTALL_DATADIR}/lxquotahandler/data")

# lx_install_library(<target> <component> EXPORT <set> INCLUDE <folder> HEADERS ...)
function(lx_install_library target component)
    cmake_parse_arguments(arg "" "EXPORT;INCLUDE" "HEADERS" ${ARGN})
    set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${LX_SOVERSION})
    install(TARGETS ${target} EXPORT ${arg_EXPORT} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        COMPONENT ${component} NAMELINK_COMPONENT Devel)
    install(FILES ${arg_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${arg_INCLUDE} COMPONENT Devel)
endfunction()

# Where zsh looks: Debian reserves site-functions of /usr for the administrator.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    set(LX_ZSH_DIR "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")
else()
    set(LX_ZSH_DIR "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
endif()

# lx_install_program(<target> <component>): the program, its man pages and its completions.
function(lx_install_program target component)
    install(TARGETS ${target} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
    install(FILES "${PROJECT_SOURCE_DIR}/contrib/completions/lxprograms.bash"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${target} COMPONENT ${component})
    install(FILES "${PROJECT_SOURCE_DIR}/contrib/completions/_lxprograms"
        DESTINATION ${LX_ZSH_DIR} RENAME _${target} COMPONENT ${component})
    install(FILES "${PROJECT_SOURCE_DIR}/contrib/completions/lxprograms.fish"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d RENAME ${target}.fish COMPONENT ${component})
    if(LX_HELP2MAN AND NOT CMAKE_CROSSCOMPILING)
        set(pages "${CMAKE_CURRENT_BINARY_DIR}/man")
        add_custom_command(OUTPUT "${pages}/${target}.1"
            COMMAND "${PROJECT_SOURCE_DIR}/cmake/manpages" "${LX_HELP2MAN}" "$<TARGET_FILE:${target}>" "${pages}"
            DEPENDS ${target} "${PROJECT_SOURCE_DIR}/cmake/manpages" VERBATIM)
        add_custom_target(man_${target} ALL DEPENDS "${pages}/${target}.1")
        install(DIRECTORY "${pages}/" DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${component})
    endif()
endfunction()

# Man pages are made from --help where help2man is installed.
find_program(LX_HELP2MAN help2man)
