#include "language.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

namespace {

/// A translator that ignores the context: a message has one translation, whichever class or library it comes from.
class Translator final : public QTranslator
{
public:
    using QTranslator::QTranslator;

    QString translate(const char *, const char *text, const char *, int) const override
    {
        return QTranslator::translate("programs", text);
    }
};

} // namespace

// A static library has to ask for its resources, outside of any namespace.
static void initResources()
{
    Q_INIT_RESOURCE(programs);
}

void Language::install()
{
    initResources();
    auto *translator = new Translator(QCoreApplication::instance());
    const bool isTranslated =
        translator->load(QLocale::system(), QStringLiteral("programs"), QStringLiteral("_"), QStringLiteral(":/i18n"));
    if (isTranslated)
        QCoreApplication::installTranslator(translator);
    // Numbers are written as the messages are.
    QLocale::setDefault(isTranslated ? QLocale(translator->language()) : QLocale::c());
}
