#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <cstdio>

// Stands in for the fuzzer's own main where the compiler has none: runs every file of a corpus folder,
// and changes of it that are the same in every run.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

constexpr int c_editsPerChange = 8;

void run(const QByteArray& bytes)
{
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.constData()),
                           static_cast<std::size_t>(bytes.size()));
}

QByteArray changed(QByteArray bytes, QRandomGenerator& random)
{
    for (int edits = random.bounded(1, c_editsPerChange + 1); edits > 0 && !bytes.isEmpty(); --edits) {
        const int at = random.bounded(bytes.size());
        switch (random.bounded(4)) {
        case 0:
            bytes[at] = static_cast<char>(random.bounded(256));
            break;
        case 1:
            bytes.insert(at, static_cast<char>(random.bounded(256)));
            break;
        case 2:
            bytes.remove(at, random.bounded(1, 5));
            break;
        default:
            bytes.insert(at, bytes.mid(random.bounded(bytes.size()), random.bounded(1, 20)));
            break;
        }
    }
    return bytes;
}

} // namespace

int main(int argc, char** argv)
{
    const int changes = argc == 3 ? QByteArray(argv[2]).toInt() : 0;
    if (changes < 1) {
        std::fputs("usage: <program> CORPUS_FOLDER CHANGES_PER_FILE\n", stderr);
        return 2;
    }
    const QDir folder(QString::fromLocal8Bit(argv[1]));
    const QStringList names = folder.entryList(QDir::Files, QDir::Name);
    if (names.isEmpty()) {
        std::fprintf(stderr, "%s: no corpus\n", argv[1]);
        return 1;
    }
    QRandomGenerator random(1);
    for (const QString& name : names) {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "%s: %s\n", qPrintable(file.fileName()), qPrintable(file.errorString()));
            return 1;
        }
        const QByteArray bytes = file.readAll();
        run(bytes);
        for (int i = 0; i < changes; ++i)
            run(changed(bytes, random));
    }
    std::printf("%d files, %d changes of each\n", names.size(), changes);
    return 0;
}
