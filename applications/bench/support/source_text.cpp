#include "applications/bench/support/source_text.h"

#include <lib_utilities/plain_file.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QStringList>
#include <QTextCodec>

SourceBytes endOfFile(const QString& path, qint64 limit)
{
    SourceBytes source;
    QFile file;
    bool isOpen = false;
    if (path.startsWith(QLatin1Char(':'))) {
        file.setFileName(path);
        isOpen = file.open(QIODevice::ReadOnly);
        source.reason = isOpen ? QString() : file.errorString();
    } else {
        isOpen = openInputFile(file, path, &source.reason);
    }
    if (!isOpen)
        return source;
    source.reason.clear();
    source.cut = qMax<qint64>(file.size() - limit, 0);
    if (!file.seek(source.cut)) {
        source.reason = file.errorString();
        return source;
    }
    // No more, however much it grows meanwhile.
    source.bytes = file.read(limit);
    if (file.error() != QFileDevice::NoError) {
        source.reason = file.errorString();
        source.bytes.clear();
    }
    const int line = source.cut > 0 ? source.bytes.indexOf('\n') + 1 : 0;
    source.bytes.remove(0, line);
    source.cut += line;
    return source;
}

std::optional<QString> plainText(const QByteArray& bytes)
{
    if (bytes.contains('\0'))
        return std::nullopt;
    QTextCodec::ConverterState state;
    const QString text =
        QTextCodec::codecForName("UTF-8")->toUnicode(bytes.constData(), bytes.size(), &state);
    if (state.invalidChars > 0 || state.remainingChars > 0)
        return std::nullopt;
    return text;
}

QStringList namedConfigurationFiles(const QByteArray& mainFile)
{
    QStringList names;
    const QJsonDocument document = QJsonDocument::fromJson(mainFile);
    if (document.isObject()) {
        const QJsonArray objects = document.object().value(QLatin1String("objects")).toArray();
        for (const QJsonValue& object : objects) {
            const QJsonArray files = object.toObject().value(QLatin1String("configurationFiles")).toArray();
            for (const QJsonValue& file : files)
                names.append(file.toString());
        }
    } else {
        static const QRegularExpression c_quoted(QStringLiteral("\"([^\"\\\\\\r\\n]+\\.json)\""));
        for (auto it = c_quoted.globalMatch(QString::fromUtf8(mainFile)); it.hasNext();)
            names.append(it.next().captured(1));
    }
    names.removeAll(QString());
    names.removeDuplicates();
    return names;
}
