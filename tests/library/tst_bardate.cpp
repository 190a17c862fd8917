// The dates of bars, beside what Qt reads with the format of a bar's date.

#include "lxbardate.h"

#include <QLocale>
#include <QtTest>

#include <random>

namespace {

QDate qtDate(const QString &text)
{
    return QDate::fromString(text, QStringLiteral("yyyyMMdd"));
}

} // namespace

class tst_bardate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLocale::setDefault(QLocale::c()); }

    void everyMonthAndDay_data();
    void everyMonthAndDay();
    void otherTexts_data();
    void otherTexts();
    void randomTexts();
};

void tst_bardate::everyMonthAndDay_data()
{
    QTest::addColumn<QString>("year");
    QTest::addColumn<QString>("locale");
    for (const char *year : { "0000", "0001", "0099", "1582", "1752", "1900", "2000", "2023", "2024", "9999" })
        QTest::newRow(year) << QString::fromLatin1(year) << QStringLiteral("C");
    QTest::newRow("digits of Egypt") << QStringLiteral("2024") << QStringLiteral("ar_EG");
    QTest::newRow("digits of Iran") << QStringLiteral("2024") << QStringLiteral("fa_IR");
}

void tst_bardate::everyMonthAndDay()
{
    QFETCH(QString, year);
    QFETCH(QString, locale);
    QLocale::setDefault(QLocale(locale));
    for (int month = 0; month <= 13; ++month) {
        for (int day = 0; day <= 40; ++day) {
            const QString text =
                year + QStringLiteral("%1%2").arg(month, 2, 10, QLatin1Char('0')).arg(day, 2, 10, QLatin1Char('0'));
            QCOMPARE(LxBarDate::fromString(text), qtDate(text));
        }
    }
    const QString midyear = year + QStringLiteral("0630");
    QCOMPARE(LxBarDate::fromString(midyear), QDate(year.toInt(), 6, 30));
}

void tst_bardate::otherTexts_data()
{
    QTest::addColumn<QString>("text");
    const QString texts[] {
        QString(),
        QString::fromLatin1(""),
        QStringLiteral("2023031"),
        QStringLiteral("202303101"),
        QStringLiteral("20230310 "),
        QStringLiteral(" 20230310"),
        QStringLiteral(" 2023031"),
        QStringLiteral("2023 310"),
        QStringLiteral("2023031 "),
        QStringLiteral("2023+310"),
        QStringLiteral("-2023031"),
        QStringLiteral("+2023031"),
        QStringLiteral("-0230310"),
        QStringLiteral("2023-3-1"),
        QStringLiteral("2023/3/1"),
        QStringLiteral("2023-03-10"),
        QStringLiteral("2023031x"),
        QStringLiteral("yyyyMMdd"),
        QStringLiteral("20230310\n"),
        QStringLiteral("２０２３０３１０"),
        QStringLiteral("٢٠٢٣٠٣١٠"),
        QStringLiteral("2023031") + QChar(0),
        QStringLiteral("20230310") + QChar(0),
        QStringLiteral("2023031:"),
        QStringLiteral("2023031/"),
    };
    int number = 0;
    for (const QString &text : texts)
        QTest::addRow("%d: %s", number++, qUtf8Printable(text)) << text;
}

void tst_bardate::otherTexts()
{
    QFETCH(QString, text);
    for (const char *locale : { "C", "ar_EG" }) {
        QLocale::setDefault(QLocale(QString::fromLatin1(locale)));
        QCOMPARE(LxBarDate::fromString(text), qtDate(text));
    }
}

void tst_bardate::randomTexts()
{
    const QString alphabet = QStringLiteral("00112233456789999 +-./:x１");
    std::mt19937 random(20230310);
    std::uniform_int_distribution<int> any(0, alphabet.size() - 1);
    std::uniform_int_distribution<int> length(6, 10);
    for (int i = 0; i < 20000; ++i) {
        QString text;
        // Half of them of the right length, and half of those of digits only.
        const int size = i % 2 ? length(random) : 8;
        while (text.size() < size) {
            const QChar character = alphabet.at(any(random));
            if (i % 4 || (character >= QLatin1Char('0') && character <= QLatin1Char('9')))
                text.append(character);
        }
        QCOMPARE(LxBarDate::fromString(text), qtDate(text));
    }
}

QTEST_GUILESS_MAIN(tst_bardate)
#include "tst_bardate.moc"
