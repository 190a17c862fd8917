// The example with widgets, as it is, on the bus of its own process: its main() is runExample() here.

#include <lxbus/bus.h>
#include <lxmsg/packmessagecommon.h>
#include <lxquotetablemodel.h>

#include <QApplication>
#include <QLoggingCategory>
#include <QTableView>
#include <QtTest>

int runExample(int argc, char *argv[]);

class tst_widgetsexample : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tableShowsTheQuotes();
};

void tst_widgetsexample::tableShowsTheQuotes()
{
    QCOMPARE(QApplication::topLevelWidgets().size(), 1);
    const auto *view = qobject_cast<QTableView *>(QApplication::topLevelWidgets().constFirst());
    QVERIFY(view && view->isVisible());
    const auto text = [view](int row, int column) { return view->model()->index(row, column).data().toString(); };
    QCOMPARE(view->model()->rowCount(), 2);
    QCOMPARE(text(0, LxQuoteTableModel::Code), QStringLiteral("600000.SH"));
    QCOMPARE(text(1, LxQuoteTableModel::Code), QStringLiteral("000001.SZ"));

    CPackMessageCommon quote;
    quote.AddVaule(QStringLiteral("Symbol"), QStringLiteral("000001.SZ"));
    quote.AddVaule(QStringLiteral("LastPx"), 12.34);
    LxBus::current()->openPublisher()->publish(QStringLiteral("MDMARKETRECORD"), QStringLiteral("000001.SZ"),
                                               quote.GetPackedMsg(false));
    QTRY_COMPARE(text(1, LxQuoteTableModel::Last), QStringLiteral("12.34"));
}

namespace {

// Runs within the event loop of the example, and ends it.
void startTest()
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    QTimer::singleShot(0, QCoreApplication::instance(), [] {
        tst_widgetsexample test;
        QCoreApplication::exit(QTest::qExec(&test));
    });
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(startTest)

int main(int, char *argv[])
{
    qunsetenv("LX_BUS_URL");
    char first[] = "600000.SH";
    char second[] = "000001.SZ";
    char *arguments[] { argv[0], first, second, nullptr };
    return runExample(3, arguments);
}

#include "tst_widgetsexample.moc"
