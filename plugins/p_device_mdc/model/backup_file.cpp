#include "model/backup_file.h"

#include "model/platform.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QIODevice>
#include <QLocale>
#include <QStringList>
#include <QTemporaryFile>
#include <QTextStream>

#include <algorithm>
#include <array>
#include <filesystem>
#include <limits>
#include <system_error>
#include <type_traits>

namespace {

constexpr int c_headerLines = 5;
constexpr int c_registerLineParts = 2;
constexpr int c_positionDigits = 4;
constexpr int c_registerMaximum = 65535;
constexpr int c_decimal = 10;

const QChar c_separator = QLatin1Char(',');
const QString c_modelKey = QStringLiteral("Driver model");
const QString c_serialKey = QStringLiteral("Driver serial");
const QString c_firmwareVersionKey = QStringLiteral("Firmware version");

// The bytes of the text as a text stream writes them when nobody tells it an encoding.
QByteArray encoded(const QString& text)
{
    QByteArray bytes;
    QTextStream stream(&bytes, QIODevice::WriteOnly);
    stream << text;
    stream.flush();
    return bytes;
}

// A date's own toString writes the digits of the system's language.
QString dateText(const QDate& date, const QString& format)
{
    return QLocale::c().toString(date, format);
}

constexpr int c_mostDigits = std::numeric_limits<int>::digits10 + 1;

// Puts the number, which is not below 0, before `end`, and returns where it begins. In place: a text of its
// own for each number would be an allocation for each.
QChar* putNumberBefore(QChar* end, int number, int digits)
{
    QChar* first = end;
    for (int left = number; left > 0 || digits > 0; left /= c_decimal, --digits)
        *--first = QLatin1Char(static_cast<char>('0' + left % c_decimal));
    return first;
}

// Digits behind an optional sign: QString::toInt alone takes blanks too.
std::optional<int> decimalNumber(const QString& text)
{
    const bool isSigned = text.startsWith(QLatin1Char('-')) || text.startsWith(QLatin1Char('+'));
    for (int i = isSigned ? 1 : 0; i < text.size(); ++i) {
        if (text.at(i) < QLatin1Char('0') || text.at(i) > QLatin1Char('9'))
            return std::nullopt;
    }
    bool fits = false;
    const int number = text.toInt(&fits);
    return fits ? std::optional<int>(number) : std::nullopt;
}

void readHeaderLine(const QString& line, BackupHeader& header)
{
    const QStringList parts = line.split(c_separator);
    if (parts.size() < 2)
        return;
    const QString key = parts.at(0).trimmed();
    const QString value = parts.at(1).trimmed();
    if (key == c_modelKey)
        header.model = value;
    else if (key == c_serialKey)
        header.serial = value;
    else if (key == c_firmwareVersionKey)
        header.firmwareVersion = value;
}

struct RegisterLine
{
    int position = 0;
    int value = 0;
};

std::optional<RegisterLine> registerLine(const QString& line)
{
    const QStringList parts = line.split(c_separator);
    if (parts.size() != c_registerLineParts)
        return std::nullopt;
    QString position = parts.at(0).trimmed();
    if (position.startsWith(QLatin1Char('A')))
        position.remove(0, 1);
    const std::optional<int> positionNumber = decimalNumber(position);
    const std::optional<int> value = decimalNumber(parts.at(1).trimmed());
    if (!positionNumber || !value)
        return std::nullopt;
    return RegisterLine{*positionNumber, *value};
}

// Why this line cannot follow what has been read; empty when it can.
QString inconsistency(const RegisterLine& line, const BackupFile& file)
{
    if (file.values.isEmpty() && line.position < 1)
        return QStringLiteral("position %1 is no register number").arg(line.position);
    const qint64 expected = qint64{file.firstPosition} + file.values.size();
    if (!file.values.isEmpty() && line.position != expected)
        return QStringLiteral("position %1 stands where %2 was expected").arg(line.position).arg(expected);
    if (line.value < 0 || line.value > c_registerMaximum)
        return QStringLiteral("%1 is no value of a register (0 to %2)")
            .arg(line.value)
            .arg(c_registerMaximum);
    if (file.values.size() >= c_backupLinesLimit)
        return QStringLiteral("there are more than %1 register lines").arg(c_backupLinesLimit);
    return {};
}

// Lines of a text, counted from 1.
class LineReader
{
public:
    explicit LineReader(QIODevice& device)
        : m_stream(&device)
    {}

    // False at the end. A line above the longest one is cut: isTooLong().
    bool next()
    {
        m_line = m_stream.readLine(c_backupLineLength + 1);
        if (m_line.isNull())
            return false;
        ++m_number;
        return true;
    }
    const QString& line() const { return m_line; }
    int number() const { return m_number; }
    bool isTooLong() const { return m_line.size() > c_backupLineLength; }

private:
    QTextStream m_stream;
    QString m_line;
    int m_number = 0;
};

BackupReading& fail(BackupReading& reading, BackupReading::Fault fault, int line, const QString& detail)
{
    reading.fault = fault;
    reading.line = line;
    reading.detail = detail;
    return reading;
}

// As Qt names the file to the system.
std::filesystem::path systemPath(const QString& path)
{
    if constexpr (std::is_same_v<std::filesystem::path::value_type, wchar_t>) {
        // In the form that has no limit on its length.
        const QString native = QDir::toNativeSeparators(QDir::cleanPath(QFileInfo(path).absoluteFilePath()));
        const QString prefix = QStringLiteral("\\\\?\\");
        return (native.startsWith(QLatin1String("\\\\")) ? prefix + QStringLiteral("UNC") + native.mid(1)
                                                         : prefix + native)
            .toStdWString();
    } else {
        return QFile::encodeName(path).toStdString();
    }
}

// A file with the text beside the one that is there or will be, with its permissions; for this user alone
// when there is none, or another user's. Its name, or nothing with the reason.
QString madeBeside(const QFileInfo& existing, const QString& path, const QString& text, QString* reason)
{
    // With separators of Windows Qt does not find the folder of a share.
    QTemporaryFile file(QDir::fromNativeSeparators(path) + QStringLiteral(".XXXXXX"));
    if (!file.open()) {
        *reason = file.errorString();
        return {};
    }
    file.setTextModeEnabled(true);
    // The rights are those of the open file, which nobody can exchange, and has no name yet.
    const bool isKept = existing.exists() && mdc::isOwnFile(path);
    const bool isWhole = (!isKept || file.setPermissions(existing.permissions())) &&
                         writeBackup(file, text) && file.flush() && mdc::handToDisk(file) &&
                         file.error() == QFileDevice::NoError;
    *reason = file.errorString();
    // Asked for when the file is whole: on Linux it has no name before, and a program that is killed leaves
    // nothing behind. Of a file on a share of Windows Qt tells the folder as if it lay below the current one.
    QString name = existing.path() + QLatin1Char('/') + QFileInfo(file.fileName()).fileName();
    file.setAutoRemove(false);
    file.close();
    if (isWhole)
        return name;
    QFile::remove(name);
    return {};
}

bool fail(QString* error, const QString& text)
{
    if (error != nullptr)
        *error = text;
    return false;
}

} // namespace

QString backupText(const BackupHeader& header, const QDate& date, const QVariantList& values)
{
    QString text = backupHeaderText(header, date);
    appendRegisterLines(text, 1, values);
    return text;
}

QString backupHeaderText(const BackupHeader& header, const QDate& date)
{
    return QStringLiteral("Driver Parameter data file,\n") + c_modelKey + c_separator + header.model +
           QLatin1Char('\n') + c_serialKey + c_separator + header.serial + QLatin1Char('\n') +
           c_firmwareVersionKey + c_separator + header.firmwareVersion + QLatin1Char('\n') +
           QStringLiteral("Date,") + dateText(date, QStringLiteral("M/d/yyyy")) + QLatin1Char('\n');
}

// Put together by hand, from its end to its begin, and appended at once: these lines are what a backup does
// most.
void appendRegisterLines(QString& lines, int firstPosition, const QVariantList& values)
{
    // "A", a position, a comma, a number and the line feed.
    std::array<QChar, 2 * c_mostDigits + 3> line;
    QChar* const end = line.data() + line.size();
    int position = firstPosition;
    for (const QVariant& value : values) {
        const int number = value.userType() == QMetaType::Int ? value.toInt() : -1;
        QChar* first = end;
        if (number >= 0) {
            *--first = QLatin1Char('\n');
            first = putNumberBefore(first, number, 1);
        }
        *--first = c_separator;
        first = putNumberBefore(first, position++, c_positionDigits);
        *--first = QLatin1Char('A');
        lines.append(first, static_cast<int>(end - first));
        if (number < 0)
            lines += value.toString() + QLatin1Char('\n');
    }
}

bool readsTheSameEverywhere(const BackupHeader& header)
{
    constexpr ushort c_lastOfAscii = 0x7F;
    const QString text = header.model + header.serial + header.firmwareVersion;
    return std::all_of(text.cbegin(), text.cend(),
                       [](QChar letter) { return letter.unicode() <= c_lastOfAscii; });
}

bool writeBackup(QIODevice& device, const QString& text)
{
    const QByteArray bytes = encoded(text);
    return device.write(bytes) == bytes.size();
}

QString backupFilePath(const QString& folderPath, const QString& model, const QString& backupName,
                       const QDate& date)
{
    return folderPath + QLatin1Char('/') + model + QLatin1Char('_') + backupName + QLatin1Char('_') +
           dateText(date, QStringLiteral("ddMMyyyy")) + QStringLiteral(".csv");
}

// QSaveFile follows a symbolic link to somebody else's file, and its commit alone does not notice a full
// disk: it has replaced a good file by the part that fitted. So the file is made beside the other under a
// name that nothing had, and takes its place, which is no link's, once it was flushed without an error.
bool saveBackup(const QString& filePath, const QString& text, QString* error)
{
    const QString path = filePath.isEmpty() ? QStringLiteral("backup.csv") : filePath;
    // Qt would take another name in its place.
    if (path.contains(QChar(0)))
        return fail(error, QStringLiteral("%1: a zero character is no part of a file name").arg(path));
    // A device or a pipe would be replaced by a file.
    const QFileInfo existing(path);
    if (existing.isSymLink())
        return fail(error, QStringLiteral("%1: is a symbolic link, which is not followed").arg(path));
    if (existing.exists() && !existing.isFile())
        return fail(error, QStringLiteral("%1: is there already and is no file").arg(path));
    QString reason;
    const QString made = madeBeside(existing, path, text, &reason);
    if (made.isEmpty())
        return fail(error, QStringLiteral("%1: %2").arg(path, reason));
    std::error_code renaming;
    std::filesystem::rename(systemPath(made), systemPath(path), renaming);
    if (renaming) {
        QFile::remove(made);
        return fail(error,
                    QStringLiteral("%1: %2").arg(path, QString::fromLocal8Bit(renaming.message().c_str())));
    }
    QFile check(path);
    if (!check.open(QIODevice::ReadOnly | QIODevice::Text) || check.readAll() != encoded(text))
        return fail(error, QStringLiteral("%1: does not hold what was written to it").arg(path));
    return true;
}

std::optional<int> BackupFile::valueAt(int position) const
{
    const qint64 index = static_cast<qint64>(position) - firstPosition;
    if (index < 0 || index >= values.size())
        return std::nullopt;
    return values.at(static_cast<int>(index));
}

BackupReading readBackup(QIODevice& device, const QString* wantedModel)
{
    BackupReading reading;
    LineReader lines(device);
    while (lines.next()) {
        const bool isHeader = lines.number() <= c_headerLines;
        if (lines.isTooLong()) {
            return fail(reading, isHeader ? BackupReading::CeInconsistent : BackupReading::CeLineFault,
                        lines.number(),
                        QStringLiteral("the line is longer than %1 characters").arg(c_backupLineLength));
        }
        if (isHeader) {
            readHeaderLine(lines.line(), reading.file.header);
            if (lines.number() == c_headerLines && wantedModel != nullptr &&
                reading.file.header.model != *wantedModel) {
                return fail(reading, BackupReading::CeModelDiffers, 0,
                            QStringLiteral("the backup is of the model \"%1\", not \"%2\"")
                                .arg(reading.file.header.model, *wantedModel));
            }
            continue;
        }
        const std::optional<RegisterLine> line = registerLine(lines.line());
        if (!line) {
            return fail(reading, BackupReading::CeLineFault, lines.number(),
                        QStringLiteral("\"%1\" is not \"A\" and a position, a comma and a value")
                            .arg(lines.line().left(80)));
        }
        const QString problem = inconsistency(*line, reading.file);
        if (!problem.isEmpty())
            return fail(reading, BackupReading::CeInconsistent, lines.number(), problem);
        if (reading.file.values.isEmpty())
            reading.file.firstPosition = line->position;
        reading.file.values.append(static_cast<quint16>(line->value));
    }
    if (reading.file.values.isEmpty())
        return fail(reading, BackupReading::CeNoData, 0, QStringLiteral("there is no register line"));
    return reading;
}
