#include "applications/bench/core/translations.h"

#include <QCoreApplication>
#include <QDir>
#include <QLocale>
#include <QTranslator>

// Outside every namespace, as the macro demands.
static void initResource()
{
    Q_INIT_RESOURCE(translations);
}

namespace {

const QString c_folder = QStringLiteral(":/translations");
const QString c_english = QStringLiteral("en");

// "<catalogue>_<language>.qm"
QStringList filesOf(const QString& language)
{
    initResource();
    return QDir(c_folder).entryList({QStringLiteral("*_%1.qm").arg(language)}, QDir::Files, QDir::Name);
}

void install(const QString& language)
{
    const QStringList files = filesOf(language);
    for (const QString& file : files) {
        auto* const translator = new QTranslator(QCoreApplication::instance());
        if (translator->load(file, c_folder))
            QCoreApplication::installTranslator(translator);
    }
}

} // namespace

QStringList availableLanguages()
{
    QStringList languages;
    const QStringList files = filesOf(QStringLiteral("*"));
    for (const QString& file : files)
        languages.append(file.section(QLatin1Char('_'), -1).section(QLatin1Char('.'), 0, 0));
    languages.removeDuplicates();
    languages.sort();
    return languages;
}

QString bestLanguage(const QStringList& preferred)
{
    const QStringList available = availableLanguages();
    for (const QString& name : preferred) {
        // "fr-CA" of QLocale, "fr_CA" of the environment.
        QString language =
            QString(name).replace(QLatin1Char('-'), QLatin1Char('_')).section(QLatin1Char('_'), 0, 0);
        if (available.contains(language))
            return language;
    }
    return c_english;
}

void useLanguage(const QString& language)
{
    const QString chosen = language.isEmpty() ? bestLanguage(QLocale::system().uiLanguages()) : language;
    // What is installed last is asked first.
    install(c_english);
    if (chosen != c_english)
        install(chosen);
}
