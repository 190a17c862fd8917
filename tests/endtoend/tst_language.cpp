#include "market.h"
#include "program.h"
#include "runningprogram.h"

#include <QDirIterator>
#include <QRegularExpression>
#include <QXmlStreamReader>
#include <QtTest>

namespace {

const QByteArray smallRecording = "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade,TotalValueTrade\n"
                                  "20230201,093000000,600519.SH,1800,1810.25,300,540025\n";
const QString smallFile = QStringLiteral("stock_snapshots_20230201.csv");
const char *const variables[] { "LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG" };

// The messages that the sources pass to a translator.
QSet<QString> messagesOfSources()
{
    static const QRegularExpression call(
        QStringLiteral(R"re(\b(?:tr|translated|translate)\(\s*(?:"\w+",\s*)?((?:"(?:[^"\\]|\\.)*"\s*)+)[,)])re"));
    static const QRegularExpression literal(QStringLiteral(R"re("((?:[^"\\]|\\.)*)")re"));
    QSet<QString> messages;
    for (const char *folder : { "/apps/common", "/apps/lxquote", "/apps/marketd", "/market" }) {
        QDirIterator sources(QStringLiteral(LX_SOURCE_DIR) + QString::fromLatin1(folder),
                             { QStringLiteral("*.cpp"), QStringLiteral("*.h") }, QDir::Files);
        while (sources.hasNext()) {
            QFile file(sources.next());
            if (!file.open(QIODevice::ReadOnly))
                qFatal("cannot read %s", qUtf8Printable(file.fileName()));
            auto calls = call.globalMatch(QString::fromUtf8(file.readAll()));
            while (calls.hasNext()) {
                const QRegularExpressionMatch found = calls.next();
                if (found.captured(0).endsWith(QLatin1Char(',')) && !found.captured(1).contains(QLatin1Char(' ')))
                    continue; // translate("Context", text)
                QString message;
                auto parts = literal.globalMatch(found.captured(1));
                while (parts.hasNext())
                    message += parts.next().captured(1);
                messages.insert(message.replace(QLatin1String("\\\""), QLatin1String("\""))
                                    .replace(QLatin1String("\\n"), QLatin1String("\n")));
            }
        }
    }
    return messages;
}

QHash<QString, QString> translations()
{
    QFile file(QStringLiteral(LX_SOURCE_DIR "/apps/common/translations/programs_zh_CN.ts"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no translations");
    QHash<QString, QString> texts;
    QXmlStreamReader reader(&file);
    QString source;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (reader.name() == QLatin1String("source"))
            source = reader.readElementText();
        else if (reader.name() == QLatin1String("translation"))
            texts.insert(source, reader.readElementText());
    }
    return texts;
}

QStringList placeholders(const QString &text)
{
    static const QRegularExpression placeholder(QStringLiteral("%\\d"));
    QStringList found;
    auto matches = placeholder.globalMatch(text);
    while (matches.hasNext())
        found.append(matches.next().captured());
    found.removeDuplicates();
    found.sort();
    return found;
}

} // namespace

/// The programs speak the language of their environment. The system of the test has no Chinese locale.
class tst_Language : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void everyMessageIsTranslated();
    void environmentChoosesTheLanguage_data();
    void environmentChoosesTheLanguage();
    void helpIsTranslated_data();
    void helpIsTranslated();
    void errorsAreTranslated_data();
    void errorsAreTranslated();
    void headingsAreTranslatedButNotTheFieldsOfData();
    void linesOfAWatchListAreTranslated();
};

void tst_Language::init()
{
    for (const char *variable : variables)
        qunsetenv(variable);
    qputenv("LC_ALL", "zh_CN.UTF-8");
}

void tst_Language::everyMessageIsTranslated()
{
    const QSet<QString> messages = messagesOfSources();
    const QHash<QString, QString> texts = translations();
    QVERIFY(messages.size() > 200);
    for (const QString &message : messages) {
        const QString text = texts.value(message);
        QVERIFY2(!text.isEmpty(), qPrintable(QStringLiteral("not translated: ") + message));
        QVERIFY2(placeholders(text) == placeholders(message), qPrintable(text));
    }
}

void tst_Language::environmentChoosesTheLanguage_data()
{
    QTest::addColumn<QByteArray>("environment");
    QTest::addColumn<bool>("isChinese");

    QTest::newRow("LANG") << QByteArray("LANG=zh_CN.UTF-8") << true;
    QTest::newRow("LC_ALL") << QByteArray("LC_ALL=zh_CN.UTF-8 LANG=en_US.UTF-8") << true;
    QTest::newRow("LC_MESSAGES") << QByteArray("LC_MESSAGES=zh_CN.UTF-8 LANG=en_US.UTF-8") << true;
    QTest::newRow("LANGUAGE") << QByteArray("LANGUAGE=zh_CN:en LANG=en_US.UTF-8") << true;
    QTest::newRow("English over all") << QByteArray("LC_ALL=en_US.UTF-8 LANG=zh_CN.UTF-8") << false;
    QTest::newRow("C over all") << QByteArray("LC_ALL=C LANG=zh_CN.UTF-8") << false;
    QTest::newRow("German") << QByteArray("LANG=de_DE.UTF-8") << false;
    QTest::newRow("none") << QByteArray() << false;
}

void tst_Language::environmentChoosesTheLanguage()
{
    QFETCH(QByteArray, environment);
    QFETCH(bool, isChinese);

    qunsetenv("LC_ALL");
    for (const QByteArray &setting : environment.split(' ')) {
        if (!setting.isEmpty())
            qputenv(setting.left(setting.indexOf('=')).constData(), setting.mid(setting.indexOf('=') + 1));
    }
    const Program::Result result = Program::run({});
    QCOMPARE(result.exitCode, 2);
    QVERIFY2(result.err.startsWith(isChinese ? "lxquote: 缺少命令\n" : "lxquote: a command is missing\n"), result.err);
}

void tst_Language::helpIsTranslated_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("text");

    const auto row = [](const char *name, const char *program, const char *arguments, const char *text) {
        QTest::newRow(name) << QString::fromLatin1(program) << QString::fromLatin1(arguments) << QByteArray(text);
    };
    row("lxquote", LX_QUOTE_PROGRAM, "--help", "实时显示行情与逐笔成交");
    row("kline", LX_QUOTE_PROGRAM, "kline --help", "复权方式");
    row("marketd", LX_MARKETD_PROGRAM, "--help", "把总线上的行情写成录制数据");
    row("serve", LX_MARKETD_PROGRAM, "serve --help", "循环回放");
}

void tst_Language::helpIsTranslated()
{
    QFETCH(QString, program);
    QFETCH(QString, arguments);
    QFETCH(QByteArray, text);

    RunningProgram help(program, arguments.split(QLatin1Char(' ')));
    QCOMPARE(help.exitCode(), 0);
    QVERIFY2(help.out().startsWith("用法: "), help.out());
    QVERIFY2(help.out().contains(text) && help.out().contains("通用选项:"), help.out());
    // Two columns for a Chinese character.
    for (const QString &line : QString::fromUtf8(help.out()).split(QLatin1Char('\n'))) {
        int width = 0;
        for (const QChar character : line)
            width += character.unicode() < 0x2e80 ? 1 : 2;
        QVERIFY2(width <= 80 || line.startsWith(QLatin1String("用法")), qPrintable(line));
    }
}

void tst_Language::errorsAreTranslated_data()
{
    QTest::addColumn<QString>("program");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("text");

    const auto row = [](const char *name, const char *program, const char *arguments, const char *text) {
        QTest::newRow(name) << QString::fromLatin1(program) << QString::fromLatin1(arguments) << QByteArray(text);
    };
    row("command", LX_QUOTE_PROGRAM, "wach", "lxquote: 未知命令“wach”；您是否想输入“watch”？\n");
    row("value", LX_QUOTE_PROGRAM, "watch --speed fast 600519.SH", "--speed: “fast”既不是正数，也不是 max\n");
    row("library of the market", LX_MARKETD_PROGRAM, "import /missing store", "marketd: /missing: 文件夹不存在\n");
    row("date", LX_QUOTE_PROGRAM, "snapshot --data " LX_DATA_DIR " --date 20230203 600519.SH",
        "没有 2023-02-03 的录制数据；已有的日期：2018-12-03, ");
}

void tst_Language::errorsAreTranslated()
{
    QFETCH(QString, program);
    QFETCH(QString, arguments);
    QFETCH(QByteArray, text);

    RunningProgram failing(program, arguments.split(QLatin1Char(' ')));
    QCOMPARE(failing.exitCode(), 2);
    QVERIFY2(failing.err().contains(text), failing.err());
}

void tst_Language::headingsAreTranslatedButNotTheFieldsOfData()
{
    RecordingFolder folder({ QStringLiteral("securities.csv") });
    folder.write(smallFile, smallRecording);
    // The name is understood although the C library does not have the locale.
    const QStringList command {
        QStringLiteral("snapshot"), QStringLiteral("--data"),   folder.path(),
        QStringLiteral("贵州茅台"), QStringLiteral("--fields"), QStringLiteral("Symbol,SecurityName,LastPx")
    };
    const Program::Result table = Program::run(command);
    QVERIFY2(table.exitCode == 0, table.err);
    QCOMPARE(table.lines().at(0), QByteArray("代码       名称       最新价"));
    QCOMPARE(table.lines().at(1), QByteArray("600519.SH  贵州茅台  1810.25"));
    const Program::Result csv =
        Program::run(command + QStringList { QStringLiteral("--format"), QStringLiteral("csv") });
    QCOMPARE(csv.lines().at(0), QByteArray("Symbol,SecurityName,LastPx"));
}

void tst_Language::linesOfAWatchListAreTranslated()
{
    RecordingFolder folder;
    folder.write(smallFile, smallRecording);
    folder.write(QStringLiteral("transactions_20230201.csv"),
                 "MDDate,MDTime,Symbol,TradePrice,TradeQty,TradeMoney,TradeBSFlag\n"
                 "20230201,093000000,600519.SH,1810.25,200,362050,1\n");
    const Program::Result result =
        Program::run({ QStringLiteral("watch"), QStringLiteral("--data"), folder.path(), QStringLiteral("--kinds"),
                       QStringLiteral("quote,trade"), QStringLiteral("--speed"), QStringLiteral("max"),
                       QStringLiteral("600519.SH") });
    QVERIFY2(result.exitCode == 0, result.err);
    QVERIFY2(result.out.contains("54.00万"), result.out);
    QVERIFY2(result.out.contains("买入") && result.out.contains(" 2 手"), result.out);
    QVERIFY2(result.out.contains("股票行情") && result.out.contains("逐笔成交"), result.out);
}

QTEST_GUILESS_MAIN(tst_Language)

#include "tst_language.moc"
