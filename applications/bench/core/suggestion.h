#pragma once

#include <QString>
#include <QStringList>

// How many characters have to be inserted, removed, replaced or swapped with their neighbour to
// make one text of the other, letter case ignored.
int editDistance(const QString& a, const QString& b);

// The names that may have been meant by `text`, best first, at most three: those a slip or two
// away, and those that begin with it. Empty when nothing is near.
QStringList namesNear(const QString& text, const QStringList& names);

// "; did you mean "a" or "b"?", empty when nothing is near: to be appended to an error text.
QString didYouMean(const QString& text, const QStringList& names);
