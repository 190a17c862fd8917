# The target "doc": the public headers and the guides as HTML and as lxquotahandler.qch. Not part of "all".
find_program(LX_DOXYGEN doxygen)
find_program(LX_QHELPGENERATOR qhelpgenerator)
if(LX_DOXYGEN AND LX_QHELPGENERATOR)
    set(headers
        LxQuotaHandler/lxquotadata.h LxQuotaHandler/lxquotahandler.h
        LxQuotaModels/lxbarseries.h LxQuotaModels/lxdepthmodel.h LxQuotaModels/lxquote.h
        LxQuotaModels/lxquotetablemodel.h LxQuotaModels/lxquotetext.h LxQuotaModels/lxsymbolmodel.h
        LxQuotaModels/lxtradelistmodel.h LxQuotaModels/lxtradingtime.h
        apps/host/lxmarkethost.h
        platform/businessdatamanager/businessdatainterface.h platform/lxbusinessdata/businessdatabase.h
        platform/lxbus/bus.h platform/lxbus/busconnection.h platform/lxbus/busstatistics.h platform/lxbus/bustopics.h
        platform/lxdefine/lxfields.h platform/lxdefine/lxkline.h
        platform/lxmsg/messagecommon.h platform/lxmsg/packmessagecommon.h platform/lxmsg/unpackmessagecommon.h
        platform/lxutils/lxthread.h
        platform/lxwidget/imessageinterface.h platform/lxwidget/lxpluginbaseobject.h
        platform/lxwidget/lxpluginhost.h platform/lxwidget/lxpresenterclass.h
        platform/summitdefines/summitfields.h platform/summitutils/summitbusiutils.h)
    file(GLOB guides RELATIVE "${PROJECT_SOURCE_DIR}" CONFIGURE_DEPENDS docs/*.md docs/guide/*.md)
    list(TRANSFORM headers PREPEND "${PROJECT_SOURCE_DIR}/")
    list(TRANSFORM guides PREPEND "${PROJECT_SOURCE_DIR}/")
    list(JOIN headers " " doc_headers)
    list(JOIN guides " " doc_guides)
    configure_file("${PROJECT_SOURCE_DIR}/cmake/Doxyfile.in" "${CMAKE_BINARY_DIR}/Doxyfile" @ONLY)
    add_custom_target(doc COMMAND "${LX_DOXYGEN}" "${CMAKE_BINARY_DIR}/Doxyfile" VERBATIM)
    install(DIRECTORY "${CMAKE_BINARY_DIR}/doc/html" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT Doc OPTIONAL)
    install(FILES "${CMAKE_BINARY_DIR}/doc/lxquotahandler.qch"
        DESTINATION "${CMAKE_INSTALL_DATADIR}/qt5/doc" COMPONENT Doc OPTIONAL)
endif()
