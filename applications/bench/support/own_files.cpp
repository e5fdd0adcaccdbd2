#include "applications/bench/support/own_files.h"

#include "applications/bench/support/source_text.h"

#include <lib_host/configuration.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include <algorithm>

namespace {

// Of a text that is no JSON: a mistake may have taken one quote of the word.
bool mentionsMembers(const QByteArray& text)
{
    static const QRegularExpression c_member(
        QStringLiteral("[\"'](?:channels|parameters|objects)\\b|\\b(?:channels|parameters|objects)[\"']"));
    const std::optional<QString> plain =
        text.size() > c_configurationSizeLimit ? std::nullopt : plainText(text);
    return plain && c_member.match(*plain).hasMatch();
}

bool isConfiguration(const QByteArray& text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text);
    if (document.isNull())
        return mentionsMembers(text);
    const QJsonObject object = document.object();
    return object.contains(QLatin1String("channels")) || object.contains(QLatin1String("parameters")) ||
           object.contains(QLatin1String("objects"));
}

bool isHidden(const QString& relativePath)
{
    const QStringList parts = relativePath.split(QLatin1Char('/'));
    return std::any_of(parts.cbegin(), parts.cend(),
                       [](const QString& part) { return part.startsWith(QLatin1Char('.')); });
}

} // namespace

OwnFiles::OwnFiles(const QString& mainFile, const QStringList& added)
    : m_mainFile(mainFile)
{
    for (const QString& file : added)
        m_added.append(QFileInfo(file).canonicalFilePath());
    m_added.removeAll(QString());
}

QString OwnFiles::placeProblem(const QString& path) const
{
    const QFileInfo file(path);
    if (!path.endsWith(QLatin1String(".json"), Qt::CaseInsensitive))
        return QStringLiteral("its name does not end with .json");
    if (file.isSymLink())
        return QStringLiteral("%1 is a symbolic link, which is not followed").arg(path);
    const QString found = file.canonicalFilePath();
    const QString folder = QFileInfo(m_mainFile).dir().canonicalPath();
    const QString root = folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
    if (!found.startsWith(root))
        return QStringLiteral("%1 lies outside the folder of %2").arg(path, m_mainFile);
    if (isHidden(found.mid(root.size())))
        return QStringLiteral("%1 is hidden").arg(path);
    return {};
}

QString OwnFiles::reasonAgainst(const QString& path, const QByteArray& text) const
{
    if (m_added.contains(QFileInfo(path).canonicalFilePath()))
        return {};
    QString problem = placeProblem(path);
    if (problem.isEmpty() && !isConfiguration(text))
        problem = QStringLiteral("%1 holds no JSON object with \"channels\", \"parameters\" or \"objects\"")
                      .arg(path);
    return problem.isEmpty() ? QString()
                             : problem + QStringLiteral("; --add packs any file, and lets this one be used");
}
