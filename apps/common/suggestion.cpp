#include "suggestion.h"

#include <QVector>

#include <algorithm>
#include <numeric>

namespace {

// The minimum number of characters to insert, remove or replace in order to turn one string into the other.
int editDistance(const QString &from, const QString &to)
{
    QVector<int> distances(to.size() + 1); // from the prefix of `from` read so far to each prefix of `to`
    std::iota(distances.begin(), distances.end(), 0);
    for (int i = 0; i < from.size(); ++i) {
        int diagonal = distances.at(0);
        distances[0] = i + 1;
        for (int j = 0; j < to.size(); ++j) {
            const int replaced = diagonal + (from.at(i) == to.at(j) ? 0 : 1);
            diagonal = distances.at(j + 1);
            distances[j + 1] = std::min({ distances.at(j) + 1, distances.at(j + 1) + 1, replaced });
        }
    }
    return distances.constLast();
}

} // namespace

QString suggestionFor(const QString &word, const QStringList &candidates)
{
    QString best;
    // A word may have two errors, or a third of its length if that is more; a short word may have one.
    int least = word.size() < 4 ? 2 : std::max(2, word.size() / 3) + 1;
    for (const QString &candidate : candidates) {
        const int distance = editDistance(word, candidate);
        if (distance < least) {
            least = distance;
            best = candidate;
        }
    }
    return best;
}
