#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

inline bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(content) == content.size();
}

// A folder of this run, with changed copies of the sample configuration.
class SampleFolder
{
public:
    bool isValid() const { return m_folder.isValid(); }
    QString path() const { return m_folder.path(); }
    QString filePath(const QString& name) const { return m_folder.filePath(name); }

    // A copy with one text replaced in one of its files; the path of its main file, empty when that
    // cannot be done.
    QString configuration(const QString& file, const QByteArray& from, const QByteArray& to)
    {
        const QString folder = m_folder.filePath(QString::number(++m_copies));
        if (!QDir().mkpath(folder))
            return {};
        const QDir samples(QStringLiteral(MDC_SOURCE_DIRECTORY "/configurations"));
        const QStringList names = samples.entryList({QStringLiteral("*.json")}, QDir::Files);
        for (const QString& name : names) {
            QFile sample(samples.filePath(name));
            if (!sample.open(QIODevice::ReadOnly))
                return {};
            QByteArray content = sample.readAll();
            if (name == file) {
                if (!content.contains(from))
                    return {};
                content.replace(from, to);
            }
            if (!writeFile(folder + QLatin1Char('/') + name, content))
                return {};
        }
        return folder + QStringLiteral("/bench.json");
    }

private:
    QTemporaryDir m_folder;
    int m_copies = 0;
};
