# Install rules and the package configuration: find_package(LxQuotaHandler) gives LxQuotaHandler::LxQuotaHandler.

include(CMakePackageConfigHelpers)

set(LX_CONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/LxQuotaHandler")
configure_package_config_file(cmake/LxQuotaHandlerConfig.cmake.in
    "${CMAKE_BINARY_DIR}/LxQuotaHandlerConfig.cmake" INSTALL_DESTINATION "${LX_CONFIG_DIR}")
write_basic_package_version_file("${CMAKE_BINARY_DIR}/LxQuotaHandlerConfigVersion.cmake"
    COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_BINARY_DIR}/LxQuotaHandlerConfig.cmake"
    "${CMAKE_BINARY_DIR}/LxQuotaHandlerConfigVersion.cmake" DESTINATION "${LX_CONFIG_DIR}")

install(EXPORT LxQuotaHandlerTargets NAMESPACE LxQuotaHandler:: DESTINATION "${LX_CONFIG_DIR}")
if(NOT LX_PLATFORM_ROOT)
    install(EXPORT LxPlatformTargets NAMESPACE LxPlatform:: DESTINATION "${LX_CONFIG_DIR}")
endif()
