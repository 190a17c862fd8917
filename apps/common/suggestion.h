#pragma once

#include <QString>
#include <QStringList>

/// The candidate that `word` is probably a misspelling of; empty if none is similar.
QString suggestionFor(const QString &word, const QStringList &candidates);
