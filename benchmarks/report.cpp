#include "report.h"

namespace {

constexpr int NameWidth = 60;
constexpr const char *boundNames[] { "at least", "at most", "none" }; // by BenchRow::Bound

QString figureText(double figure)
{
    const double size = qAbs(figure);
    if (size >= 1000)
        return QString::number(figure, 'f', 0);
    return QString::number(figure, size >= 100 ? 'f' : 'g', size >= 100 ? 0 : 3);
}

QString line(const QString &number, const QString &name, const QString &figure, const QString &reference,
             const QString &unit, const QString &ratio, const QString &target, const QString &met)
{
    return QStringLiteral("%1 %2 %3 %4 %5 %6 %7  %8\n")
        .arg(number, -9)
        .arg(name, -NameWidth)
        .arg(figure, 9)
        .arg(reference, 9)
        .arg(unit, -10)
        .arg(ratio, 6)
        .arg(target, 8)
        .arg(met);
}

} // namespace

namespace Report {

QJsonObject toJson(const BenchRow &row)
{
    return { { QStringLiteral("number"), row.number },
             { QStringLiteral("name"), row.name },
             { QStringLiteral("unit"), row.unit },
             { QStringLiteral("figure"), row.figure },
             { QStringLiteral("reference"), row.reference > 0 ? QJsonValue(row.reference) : QJsonValue() },
             { QStringLiteral("ratio"), row.reference > 0 ? QJsonValue(row.ratio) : QJsonValue() },
             { QStringLiteral("bound"), QString::fromLatin1(boundNames[row.bound]) },
             { QStringLiteral("target"), row.hasTarget() ? QJsonValue(row.target) : QJsonValue() },
             { QStringLiteral("met"), row.hasTarget() ? QJsonValue(row.isMet()) : QJsonValue() } };
}

BenchRow fromJson(const QJsonObject &object)
{
    BenchRow row;
    row.number = object.value(QStringLiteral("number")).toString();
    row.name = object.value(QStringLiteral("name")).toString();
    row.unit = object.value(QStringLiteral("unit")).toString();
    row.figure = object.value(QStringLiteral("figure")).toDouble();
    row.reference = object.value(QStringLiteral("reference")).toDouble();
    row.ratio = object.value(QStringLiteral("ratio")).toDouble();
    const QString bound = object.value(QStringLiteral("bound")).toString();
    for (const auto candidate : { BenchRow::AtLeast, BenchRow::AtMost }) {
        if (bound == QLatin1String(boundNames[candidate]))
            row.bound = candidate;
    }
    row.target = object.value(QStringLiteral("target")).toDouble();
    return row;
}

void printHead(QTextStream &out)
{
    out << line(QStringLiteral("#"), QStringLiteral("case"), QStringLiteral("figure"), QStringLiteral("reference"),
                QStringLiteral("unit"), QStringLiteral("ratio"), QStringLiteral("target"), QStringLiteral("met"));
    out.flush();
}

void printRow(QTextStream &out, const BenchRow &row)
{
    const bool compared = row.reference > 0;
    const QString bound = row.bound == BenchRow::AtLeast ? QStringLiteral(">= ") : QStringLiteral("<= ");
    const QString none = QStringLiteral("-");
    out << line(row.number, row.name, figureText(row.figure), compared ? figureText(row.reference) : none, row.unit,
                compared ? QString::number(row.ratio, 'f', 2) : none,
                row.hasTarget() ? bound + QString::number(row.target) : none,
                !row.hasTarget()  ? none
                    : row.isMet() ? QStringLiteral("yes")
                                  : QStringLiteral("NO"));
    out.flush();
}

} // namespace Report
