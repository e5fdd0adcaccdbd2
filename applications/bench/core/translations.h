#pragma once

#include <QString>
#include <QStringList>

// The languages that there are texts in, as two-letter codes in alphabetical order.
QStringList availableLanguages();

// Of what a person prefers (language codes or locale names, best first), the first language that there
// are texts in; English when there is none.
QString bestLanguage(const QStringList& preferred);

// Lets the application object, which must exist, speak this available language; empty: the one that the
// system's locale asks for. A text that the language lacks is English. Called once, before the first text
// is asked for.
void useLanguage(const QString& language);
