# What is installed besides libraries and programs: the package configuration, pkg-config files, the service's unit, the
# broker's configuration, a recorded day and the documentation.
#
# find_package(LxQuotaHandler) gives LxQuotaHandler::LxQuotaHandler; with COMPONENTS Models also
# LxQuotaModels::LxQuotaModels, with COMPONENTS Host LxMarketHost::lxmarkethost.

include(CMakePackageConfigHelpers)

set(config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/LxQuotaHandler")
configure_package_config_file(cmake/LxQuotaHandlerConfig.cmake.in
    "${CMAKE_BINARY_DIR}/LxQuotaHandlerConfig.cmake" INSTALL_DESTINATION "${config_dir}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/LxQuotaHandlerConfigVersion.cmake"
    COMPATIBILITY ${LX_VERSION_COMPATIBILITY})
install(FILES "${CMAKE_BINARY_DIR}/LxQuotaHandlerConfig.cmake"
    "${CMAKE_BINARY_DIR}/LxQuotaHandlerConfigVersion.cmake" DESTINATION "${config_dir}" COMPONENT Devel)

# lx_install_package(<export set> <namespace> <pkg-config file> <description> <libraries> <include folders> <requires>)
file(RELATIVE_PATH prefix_from_pc "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
function(lx_install_package export namespace name description libraries folders requires)
    install(EXPORT ${export} NAMESPACE ${namespace}:: DESTINATION "${config_dir}" COMPONENT Devel)
    list(TRANSFORM libraries PREPEND "-l")
    list(TRANSFORM folders PREPEND "-I\${includedir}/")
    list(JOIN libraries " " libraries)
    list(JOIN folders " " folders)
    file(WRITE "${CMAKE_BINARY_DIR}/${name}.pc" "\
prefix=\${pcfiledir}/${prefix_from_pc}
libdir=\${prefix}/${CMAKE_INSTALL_LIBDIR}
includedir=\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}

Name: ${name}
Description: ${description}
Version: ${PROJECT_VERSION}
Requires: ${requires}
Libs: -L\${libdir} ${libraries}
Cflags: ${folders}
")
    install(FILES "${CMAKE_BINARY_DIR}/${name}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT Devel)
endfunction()

# A foreign platform has package files of its own, or none.
set(platform_package "")
if(NOT LX_PLATFORM_ROOT)
    set(platform_package ", lxplatform")
    lx_install_package(LxPlatformTargets LxPlatform lxplatform "Open platform of a securities trading client"
        "lxwidget;lxbus;lxmsg;lxbusinessdata;lxdefine;lxutils" "lxplatform" "Qt5Core")
endif()
lx_install_package(LxQuotaHandlerTargets LxQuotaHandler lxquotahandler "Quotation library of a securities trading client"
    "LxQuotaHandler" "LxQuotaHandler" "Qt5Core${platform_package}")
if(LX_PLATFORM_ROOT)
    return()
endif()
if(TARGET LxQuotaModels)
    lx_install_package(LxQuotaModelsTargets LxQuotaModels lxquotamodels "Qt item models of market data"
        "LxQuotaModels" "LxQuotaModels" "Qt5Gui, lxquotahandler")
endif()
lx_install_package(LxMarketHostTargets LxMarketHost lxmarkethost "Market of a small program that uses LxQuotaHandler"
    "lxmarkethost" "LxMarketHost" "lxquotahandler")

# The service. Its unit names the program where it is installed.
set(LX_SYSTEMD_UNIT_DIR "lib/systemd/system" CACHE STRING "Folder of systemd's units, below the prefix or absolute")
file(READ contrib/marketd.service unit)
string(REPLACE "/usr/local/bin/" "${CMAKE_INSTALL_FULL_BINDIR}/" unit "${unit}")
file(WRITE "${CMAKE_BINARY_DIR}/marketd.service" "${unit}")
install(FILES "${CMAKE_BINARY_DIR}/marketd.service" DESTINATION "${LX_SYSTEMD_UNIT_DIR}" COMPONENT Service)
install(FILES contrib/nats-server.conf DESTINATION ${CMAKE_INSTALL_DATADIR}/lxquotahandler COMPONENT Service)

if(TARGET lxboard)
    install(FILES contrib/lxboard.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications COMPONENT Board)
endif()

# Enough of the recordings that every installed program shows something without options: the names and figures of all
# securities, past bars, and two days of quotes.
foreach(name securities.csv trading_days.csv fundamentals.csv valuation_daily.csv.gz corporate_actions.csv
        adjust_factors.csv kline_daily.csv.gz kline_1min.csv.gz stock_snapshots_20211201.csv.gz
        stock_snapshots_20230201.csv.gz README.md)
    install(FILES "data/${name}" DESTINATION "${LX_INSTALL_DATA_DIR}" COMPONENT Data)
endforeach()

install(FILES README.md CHANGELOG.md DESIGN.md LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT Doc)
install(DIRECTORY docs examples DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT Doc)
install(DIRECTORY LICENSES DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT Doc)
