// The example in QML shows what the model holds.

#include "lxquotetablemodel.h"

#include "quoterows.h"

#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickItem>
#include <QQuickWindow>

using namespace QuoteRows;

class tst_qmlexample : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listShowsTheQuotes();
};

namespace {

QStringList texts(const QQuickItem *item)
{
    QStringList result;
    const QVariant text = item->property("text");
    if (text.isValid())
        result.append(text.toString());
    for (const QQuickItem *child : item->childItems())
        result += texts(child);
    return result;
}

} // namespace

void tst_qmlexample::listShowsTheQuotes()
{
    startHandler();
    LxDouble::setSecurity(u"600000.SH"_s, u"stock"_s, u"浦发银行"_s);
    LxQuoteTableModel model;
    model.setSymbols({ u"600000.SH"_s });
    QQmlApplicationEngine engine;
    engine.rootContext()->setContextProperty(u"quotes"_s, &model);
    engine.load(QUrl::fromLocalFile(QStringLiteral(LX_QML_EXAMPLE)));
    QCOMPARE(engine.rootObjects().size(), 1);
    const auto *window = qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst());
    QVERIFY(window);
    QTRY_VERIFY(texts(window->contentItem()).contains(u"浦发银行"_s));
    publishStock(stock(u"600000.SH"_s, 10.5));
    QTRY_COMPARE(texts(window->contentItem()),
                 (QStringList { u"600000.SH"_s, u"浦发银行"_s, u"10.50"_s }));
}

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
    QGuiApplication application(argc, argv);
    tst_qmlexample test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_qmlexample.moc"
