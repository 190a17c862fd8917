#include "hostedlibrary.h"

#include <logging.h>
#include <lxwidget/lxpluginhost.h>

LxQuotaHandler &hostedLibrary()
{
    static LxQuotaHandler *const library = [] {
        const Logging::UncategorizedWarningsMuted
            muted; // Qt's, about a connection that the library is known to request
        QString error;
        if (!LxPluginHost::load(QStringLiteral(LX_PLUGIN_FILE), &error))
            qFatal("%s", qUtf8Printable(error));
        return &LxQuotaHandler::instance();
    }();
    return *library;
}
