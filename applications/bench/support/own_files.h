#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// Which of the files that a configuration names are its own. Whoever wrote it may be somebody else, and must
// not be sent what else is on this computer: neither the file nor what somebody has to say of its content.
//
// One of its own lies in the folder of the main file or below, in nothing hidden, is named "….json", is no
// link, and holds what a configuration holds; where a mistake keeps it from being JSON, as far as one can
// tell.
class OwnFiles
{
public:
    // `added` are files that the person has named: those may be told in any case.
    OwnFiles(const QString& mainFile, const QStringList& added);

    // Why this file, which holds `text`, is none of them; empty for one that is.
    QString reasonAgainst(const QString& path, const QByteArray& text) const;

private:
    QString placeProblem(const QString& path) const;

    const QString m_mainFile;
    QStringList m_added; // canonical
};
