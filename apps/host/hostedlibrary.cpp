#include "hostedlibrary.h"

#include <logging.h>
#include <lxquotahandler.h>
#include <lxwidget/lxpluginhost.h>
#include <securities.h>

#include <QDir>
#include <QFile>

bool HostedLibrary::load(const QString &folder, QString *error)
{
    const QString securities = QDir(folder).filePath(QStringLiteral("securities.csv"));
    if (QFile::exists(securities) && !loadSecurities(securities, error))
        return false;
    const Logging::UncategorizedWarningsMuted muted;
    if (!LxPluginHost::load(QStringLiteral(LX_PLUGIN_FILE), error))
        return false;
    LxQuotaHandler::instance();
    return true;
}

void HostedLibrary::waitUntilIdle()
{
    QMetaObject::invokeMethod(
        &LxQuotaHandler::instance(), [] {}, Qt::BlockingQueuedConnection);
}
