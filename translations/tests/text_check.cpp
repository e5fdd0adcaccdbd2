#include "text_check.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>
#include <QXmlStreamReader>

#include <algorithm>

namespace {

struct Text
{
    QString id;
    QString translation;
    bool finished = true;
};

struct Catalogue
{
    QString name; // of the file
    QString language;
    QList<Text> texts;
    QString error;
};

Catalogue readCatalogue(const QString& path)
{
    Catalogue catalogue;
    catalogue.name = QFileInfo(path).fileName();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        catalogue.error = file.errorString();
        return catalogue;
    }
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("TS")) {
            catalogue.language = xml.attributes().value(QLatin1String("language")).toString();
        } else if (xml.name() == QLatin1String("message")) {
            catalogue.texts.append({xml.attributes().value(QLatin1String("id")).toString(), QString(), true});
        } else if (xml.name() == QLatin1String("translation") && !catalogue.texts.isEmpty()) {
            catalogue.texts.last().finished = !xml.attributes().hasAttribute(QLatin1String("type"));
            catalogue.texts.last().translation = xml.readElementText();
        }
    }
    if (xml.hasError())
        catalogue.error = xml.errorString();
    return catalogue;
}

// "%1", "%2", "%n", … in an order of their own: a language may place them elsewhere.
QStringList placeholders(const QString& text)
{
    static const QRegularExpression expression(QStringLiteral("%L?(?:\\d{1,2}|n)"));
    QStringList found;
    for (auto match = expression.globalMatch(text); match.hasNext();)
        found.append(match.next().captured());
    found.sort();
    return found;
}

QStringList faultsOf(const Catalogue& catalogue, const QMap<QString, QString>& ids,
                     const QMap<QString, QString>& english)
{
    QStringList faults;
    const auto fault = [&](const QString& id, const QString& what) {
        faults.append(QStringLiteral("%1: %2: %3").arg(catalogue.name, id, what));
    };
    QSet<QString> seen;
    for (const Text& text : catalogue.texts) {
        if (seen.contains(text.id))
            fault(text.id, QStringLiteral("two texts"));
        seen.insert(text.id);
        if (!ids.contains(text.id))
            fault(text.id, QStringLiteral("a text for an id that nothing asks for"));
        if (!text.finished)
            fault(text.id, QStringLiteral("unfinished text"));
        if (text.translation.trimmed().isEmpty())
            fault(text.id, QStringLiteral("empty text"));
        else if (placeholders(text.translation) != placeholders(english.value(text.id)))
            fault(text.id, QStringLiteral("other placeholders than the English text"));
    }
    for (auto id = ids.cbegin(); id != ids.cend(); ++id) {
        if (!seen.contains(id.key()))
            fault(id.key(), QStringLiteral("no text"));
    }
    return faults;
}

} // namespace

QMap<QString, QString> idsIn(const QString& source)
{
    static const QRegularExpression expression(
        QStringLiteral(R"re(//%\s*"(?<text>(?:[^"\\]|\\.)*)"|)re"
                       R"re(\b(?:qtTrId|qsTrId|QT_TRID_NOOP|QT_TRID_N_NOOP|QT_TRID_NOOP_UTF8)\s*\(\s*")re"
                       R"re((?<id>[^"]*)")re"));
    QMap<QString, QString> ids;
    QString text;
    for (auto match = expression.globalMatch(source); match.hasNext();) {
        const QRegularExpressionMatch found = match.next();
        const QString id = found.captured(QStringLiteral("id"));
        if (id.isNull()) {
            // A long text goes on in the next comment.
            text +=
                found.captured(QStringLiteral("text")).replace(QLatin1String("\\\""), QLatin1String("\""));
            continue;
        }
        if (!text.isNull() || !ids.contains(id))
            ids.insert(id, text);
        text = QString();
    }
    return ids;
}

QMap<QString, QString> idsBelow(const QStringList& folders)
{
    QMap<QString, QString> ids;
    for (const QString& folder : folders) {
        QDirIterator files(
            folder,
            {QStringLiteral("*.cpp"), QStringLiteral("*.h"), QStringLiteral("*.qml"), QStringLiteral("*.js")},
            QDir::Files, QDirIterator::Subdirectories);
        while (files.hasNext()) {
            QFile file(files.next());
            if (file.fileName().contains(QLatin1String("/tests/")) || !file.open(QIODevice::ReadOnly))
                continue;
            const QMap<QString, QString> found = idsIn(QString::fromUtf8(file.readAll()));
            for (auto id = found.cbegin(); id != found.cend(); ++id) {
                if (!id.value().isNull() || !ids.contains(id.key()))
                    ids.insert(id.key(), id.value());
            }
        }
    }
    return ids;
}

QStringList textFaults(const QMap<QString, QString>& ids, const QStringList& files)
{
    QStringList faults;
    QMap<QString, QString> english;
    for (const QString& file : files) {
        const Catalogue catalogue = readCatalogue(file);
        if (!catalogue.error.isEmpty()) {
            faults.append(QStringLiteral("%1: %2").arg(catalogue.name, catalogue.error));
            continue;
        }
        const QString ofName = QFileInfo(file).completeBaseName().section(QLatin1Char('_'), -1);
        if (catalogue.language.left(2) != ofName)
            faults.append(
                QStringLiteral("%1: its language is \"%2\"").arg(catalogue.name, catalogue.language));
        if (english.isEmpty()) {
            for (const Text& text : catalogue.texts)
                english.insert(text.id, text.translation);
            for (auto id = ids.cbegin(); id != ids.cend(); ++id) {
                if (!id.value().isNull() && english.contains(id.key()) && english[id.key()] != id.value())
                    faults.append(QStringLiteral("%1: %2: the source says \"%3\"")
                                      .arg(catalogue.name, id.key(), id.value()));
            }
        }
        faults += faultsOf(catalogue, ids, english);
    }
    return faults;
}
