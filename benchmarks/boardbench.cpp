// The board under load, under the offscreen platform: "lxboardbench board|board-sorted|plain|plain-sorted", or its
// start, "lxboardbench start SYMBOLS URL". Prints rows as JSON; lxbench runs it for its cases of the board.
//
// 5,000 symbols in a window of 1600 x 900 that shows 20 columns, 20,000 quotes per second for 30 seconds. The plain way
// is a table model that announces each quote as it arrives, a QTableView with its default delegate, and for sorting a
// QSortFilterProxyModel.

#include "measure.h"
#include "recordsource.h"
#include "report.h"

#include <eventdispatcher.h>
#include <lxbus/bus.h>
#include <lxquotahandler.h>
#include <lxquotetablemodel.h>
#include <mainwindow.h>
#include <markethost.h>
#include <quoteboardview.h>

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QHeaderView>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QSettings>
#include <QSortFilterProxyModel>
#include <QTemporaryDir>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <atomic>
#include <ctime>

namespace {

constexpr int Symbols = 5000;
constexpr int Columns = 20;
constexpr int QuotesPerSecond = 20000;
constexpr int RecordedStocks = 30;
constexpr int WarmUpMs = 10000; // until what is kept of each symbol has its full size
constexpr int MeasuredMs = 30000;

QStringList symbols()
{
    QStringList result;
    for (int i = 0; i < Symbols; ++i)
        result.append(RecordSource::symbol(i));
    return result;
}

double threadSeconds()
{
    timespec time {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Publishes the records of a recorded morning under the symbols of the board, evenly in time.
class Market
{
public:
    void start()
    {
        m_thread.reset(QThread::create([this] { run(); }));
        m_thread->start();
    }
    ~Market()
    {
        m_stop = true;
        if (m_thread)
            m_thread->wait();
    }

private:
    void run()
    {
        const RecordSource source = RecordSource::stockQuotes();
        const auto publisher = LxBus::current()->openPublisher();
        const qint64 begin = Measure::nowNs();
        constexpr int Batch = QuotesPerSecond / 1000;
        for (qint64 i = 0; !m_stop; ++i) {
            if (i % Batch == 0) {
                const qint64 due = begin + i / Batch * 1000000;
                const qint64 left = due - Measure::nowNs();
                if (left > 0)
                    QThread::usleep(static_cast<unsigned long>(left / 1000));
            }
            // Records of several stocks follow each other under one symbol, so that nearly all cells of a row change
            // with each quote: more than in a market.
            const int number = static_cast<int>(i % Symbols);
            const int record = static_cast<int>(i / Symbols * RecordedStocks + number % RecordedStocks);
            const QString symbol = RecordSource::symbol(number);
            publisher->publish(source.topic(), symbol, source.record(record, symbol));
        }
    }

    std::unique_ptr<QThread> m_thread;
    std::atomic<bool> m_stop { false };
};

// The simplest model, as a plug-in author might write it: a row for each symbol, dataChanged() for each quote.
class PlainModel : public QAbstractTableModel
{
public:
    explicit PlainModel(const QStringList &symbols) : m_rows(symbols.size())
    {
        for (int i = 0; i < symbols.size(); ++i) {
            m_index.insert(symbols.at(i), i);
            m_rows[i].Symbol = symbols.at(i);
        }
        qRegisterMetaType<StockQuotaData>("StockQuotaData");
        connect(&LxQuotaHandler::instance(), &LxQuotaHandler::signalStockQuotaUpdate, this,
                [this](const StockQuotaData &quote) {
                    const int row = m_index.value(quote.Symbol, -1);
                    if (row < 0)
                        return;
                    m_rows[row] = quote;
                    Q_EMIT dataChanged(index(row, 0), index(row, Columns - 1));
                });
    }

    int rowCount(const QModelIndex &parent = QModelIndex()) const override
    {
        return parent.isValid() ? 0 : m_rows.size();
    }
    int columnCount(const QModelIndex &parent = QModelIndex()) const override { return parent.isValid() ? 0 : Columns; }
    QVariant data(const QModelIndex &index, int role) const override
    {
        const StockQuotaData &quote = m_rows.at(index.row());
        const double numbers[Columns - 2] { quote.LastPx,           quote.Change,           quote.ChangeRatio,
                                            quote.TotalVolumeTrade, quote.TotalValueTrade,  quote.BuyPrice[0],
                                            quote.SellPrice[0],     quote.HighPx,           quote.LowPx,
                                            quote.OpenPx,           quote.PreClosePx,       quote.AvgPx,
                                            quote.Amplitude,        quote.TurnoverRate,     quote.PERatio,
                                            quote.PBRatio,          quote.TotalMarketValue, quote.BidAskRatio };
        if (role == Qt::UserRole)
            return index.column() < 2 ? QVariant(quote.Symbol) : QVariant(numbers[index.column() - 2]);
        if (role != Qt::DisplayRole)
            return QVariant();
        if (index.column() == 0)
            return quote.Symbol;
        return index.column() == 1 ? quote.SecurityName : QString::number(numbers[index.column() - 2], 'f', 2);
    }

private:
    QVector<StockQuotaData> m_rows;
    QHash<QString, int> m_index;
};

// Durations of the GUI thread's turns: from the first event after it slept until it goes to sleep again.
class Turns : public QObject
{
public:
    Turns()
    {
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, this, &Turns::end);
    }

    void begin()
    {
        if (m_begin == 0)
            m_begin = Measure::nowNs();
    }
    void restart() { m_durations.clear(); }
    /// In milliseconds. A turn that has not ended yet counts as well: without it a thread that never sleeps looks idle.
    double p99()
    {
        end();
        std::sort(m_durations.begin(), m_durations.end());
        return m_durations.empty() ? 0 : m_durations[m_durations.size() * 99 / 100];
    }

private:
    void end()
    {
        if (m_begin > 0)
            m_durations.push_back(static_cast<double>(Measure::nowNs() - m_begin) / 1e6);
        m_begin = 0;
    }

    qint64 m_begin = 0;
    std::vector<double> m_durations;
};

// Reports each event. The signals of the event dispatcher alone leave out its timers.
class Application : public QApplication
{
public:
    using QApplication::QApplication;

    void setTurns(Turns *turns) { m_turns = turns; }
    bool notify(QObject *receiver, QEvent *event) override
    {
        if (m_turns && QThread::currentThread() == thread()) // every thread's events come here
            m_turns->begin();
        return QApplication::notify(receiver, event);
    }

private:
    Turns *m_turns = nullptr;
};

// The time from the announcement of a quote to the end of the painting that shows it: the maximum of each flush.
class ScreenDelay : public QObject
{
public:
    ScreenDelay(LxQuoteTableModel *model, QWidget *viewport) : m_model(model), m_viewport(viewport)
    {
        connect(model, &LxQuoteTableModel::flushed, this, [this] {
            const qint64 begin = Measure::nowNs();
            m_viewport->repaint(
                m_viewport->rect().intersected(QRect(0, 0, 1, 1))); // pending updates are painted with it
            m_delays.push_back(m_model->delay() + static_cast<double>(Measure::nowNs() - begin) / 1e6);
        });
    }
    void restart() { m_delays.clear(); }
    double largest() const { return m_delays.empty() ? 0 : *std::max_element(m_delays.begin(), m_delays.end()); }

private:
    LxQuoteTableModel *const m_model;
    QWidget *const m_viewport;
    std::vector<double> m_delays;
};

BenchRow row(const QString &name, const QString &unit, double figure, double target)
{
    BenchRow result;
    result.number = QStringLiteral("19");
    result.name = name;
    result.unit = unit;
    result.figure = figure;
    result.bound = target > 0 ? BenchRow::AtMost : BenchRow::NoTarget;
    result.target = target;
    return result;
}

void wait(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

// A board over a broker, from the start of the program until each symbol of its list shows a quote.
QVector<BenchRow> measureStart(qint64 begin, int count, const QString &url)
{
    const QTemporaryDir folder;
    QSettings settings(folder.filePath(QStringLiteral("settings.ini")), QSettings::IniFormat);
    WatchLists lists;
    lists.add(QStringLiteral("All"), symbols().mid(0, count));
    lists.save(&settings);
    MarketHost::Options options;
    options.bus.url = url;
    options.folder = QStringLiteral(LX_DATA_DIR);
    MarketHost host(options);
    QString error;
    if (!host.open(&error))
        qFatal("%s", qUtf8Printable(error));
    MainWindow window(&host, &settings);
    window.resize(1600, 900);
    window.show();
    host.start();
    QEventLoop untilFull;
    const auto isFull = [&window, count] {
        for (int row = 0; row < count; ++row) {
            if (window.quotes().quoteAt(row).kind == LxQuote::Unknown)
                return false;
        }
        return true;
    };
    QObject::connect(&window.quotes(), &LxQuoteTableModel::flushed, &untilFull, [&] {
        if (isFull())
            untilFull.quit();
    });
    if (!isFull())
        untilFull.exec();
    window.repaint();
    const double milliseconds = static_cast<double>(Measure::nowNs() - begin) / 1e6;
    return { row(QStringLiteral("board of %1 symbols over a broker, from start to full").arg(count),
                 QStringLiteral("ms"), milliseconds, 0) };
}

QVector<BenchRow> measureTable(Application *application, const QString &what)
{
    const bool isSorted = what.endsWith(QLatin1String("-sorted"));
    const bool isPlain = what.startsWith(QLatin1String("plain"));

    LxQuoteTableModel model;
    QuoteBoardView board;
    std::unique_ptr<PlainModel> plain;
    QSortFilterProxyModel proxy;
    QTableView plainView;
    QTableView *view = isPlain ? &plainView : &board;
    if (isPlain) {
        plain = std::make_unique<PlainModel>(symbols());
        proxy.setSourceModel(plain.get());
        proxy.setSortRole(Qt::UserRole);
        proxy.setDynamicSortFilter(true);
        plainView.setModel(isSorted ? static_cast<QAbstractItemModel *>(&proxy) : plain.get());
        if (isSorted)
            proxy.sort(4, Qt::DescendingOrder);
        QStringList all = symbols();
        LxQuotaHandler::instance().SubscribeQuote(all, true);
    } else {
        board.setQuoteModel(&model);
        int shown = 0;
        for (int column = 0; column < LxQuoteTableModel::ColumnCount; ++column) {
            board.setColumnHidden(column, shown >= Columns || column == LxQuoteTableModel::Name);
            shown += !board.isColumnHidden(column);
        }
        model.setSymbols(symbols());
        if (isSorted)
            model.sort(LxQuoteTableModel::ChangeRatio, Qt::DescendingOrder);
    }
    view->verticalHeader()->setDefaultSectionSize(view->fontMetrics().height() + 5);
    for (int column = 0; column < view->model()->columnCount(); ++column)
        view->setColumnWidth(column, 1600 / Columns - 1);
    view->resize(1600, 900);
    view->show();

    Turns turns;
    application->setTurns(&turns);
    ScreenDelay delay(&model, view->viewport());
    Market market;
    market.start();
    wait(WarmUpMs);
    turns.restart();
    delay.restart();
    const qint64 memoryBefore = Measure::residentBytes();
    const double cpuBefore = threadSeconds();
    const qint64 begin = Measure::nowNs();
    wait(MeasuredMs);
    const double seconds = static_cast<double>(Measure::nowNs() - begin) / 1e9;
    const double cpu = 100 * (threadSeconds() - cpuBefore) / seconds;
    application->setTurns(nullptr);
    const double growth = static_cast<double>(Measure::residentBytes() - memoryBefore) / 1e6;

    const QString name = (isPlain ? QStringLiteral("plain table") : QStringLiteral("board"))
        + (isSorted ? QStringLiteral(", sorted: ") : QStringLiteral(": "));
    const auto target = [isPlain](double value) { return isPlain ? 0 : value; };
    QVector<BenchRow> rows { row(name + QStringLiteral("turn of the GUI thread, p99"), QStringLiteral("ms"),
                                 turns.p99(), target(isSorted ? 33 : 16)),
                             row(name + QStringLiteral("GUI thread"), QStringLiteral("% core"), cpu, target(40)),
                             row(name + QStringLiteral("growth of memory in 30 s"), QStringLiteral("MB"), growth,
                                 target(10)) };
    if (!isPlain)
        rows.append(
            row(name + QStringLiteral("announced to painted, longest"), QStringLiteral("ms"), delay.largest(), 100));
    return rows;
}

} // namespace

int main(int argc, char *argv[])
{
    const qint64 begin = Measure::nowNs();
    useUnixEventDispatcher();
    qputenv("QT_QPA_PLATFORM", "offscreen");
    Application application(argc, argv);
    Theme::setUpApplication();
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.warning=false"));
    const QStringList arguments = application.arguments();
    const QString what = arguments.value(1);
    const QVector<BenchRow> rows = what == QLatin1String("start")
        ? measureStart(begin, arguments.value(2).toInt(), arguments.value(3))
        : measureTable(&application, what);
    QJsonArray array;
    for (const BenchRow &measured : rows)
        array.append(Report::toJson(measured));
    QTextStream(stdout) << QString::fromUtf8(QJsonDocument(array).toJson());
    return 0;
}
