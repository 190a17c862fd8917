# Imports the client platform found under LX_PLATFORM_ROOT as LxPlatform::<library>.
#
# Searches for headers in DIR and DIR/include, and for libraries in DIR, DIR/lib and DIR/lib64, where DIR is
# LX_PLATFORM_ROOT. The headers are treated as system headers, so the compiler prints no warnings about them.

find_path(LX_PLATFORM_INCLUDE_DIR lxwidget/lxpresenterclass.h
    PATHS "${LX_PLATFORM_ROOT}" PATH_SUFFIXES include NO_DEFAULT_PATH REQUIRED)

foreach(library lxwidget lxmsg lxutils lxdefine SummitDefines SummitUtils lxbusinessdata businessdatamanager)
    find_library(LX_PLATFORM_${library} ${library}
        PATHS "${LX_PLATFORM_ROOT}" PATH_SUFFIXES lib lib64 NO_DEFAULT_PATH REQUIRED)
    add_library(LxPlatform::${library} UNKNOWN IMPORTED)
    set_target_properties(LxPlatform::${library} PROPERTIES
        IMPORTED_LOCATION "${LX_PLATFORM_${library}}"
        INTERFACE_INCLUDE_DIRECTORIES "${LX_PLATFORM_INCLUDE_DIR}")
    target_link_libraries(LxPlatform::${library} INTERFACE Qt5::Core)
endforeach()
