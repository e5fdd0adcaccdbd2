#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLibrary>
#include <QObject>
#include <QPluginLoader>
#include <QProcess>
#include <QVector>

#include <algorithm>
#include <cstdio>

// Loading both plug-ins and making their root objects, beside loading the Qt libraries that they need:
// each in a fresh process, which has Qt Core alone.

namespace {

constexpr int c_rounds = 21;

// Milliseconds that the other process tells; below 0 when it failed.
double inFreshProcess(const char* what)
{
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), {QString::fromLatin1(what)});
    process.waitForFinished();
    bool isNumber = false;
    const double time = process.readAllStandardOutput().trimmed().toDouble(&isNumber);
    return isNumber && process.exitCode() == 0 ? time : -1;
}

bool loadLibraries()
{
    const char* const names[] = {"Qt5Network", "Qt5Qml", "Qt5SerialPort", "Qt5SerialBus"};
    return std::all_of(std::begin(names), std::end(names), [](const char* name) {
        QLibrary library(QString::fromLatin1(name), 5);
        return library.load();
    });
}

bool loadPlugins()
{
    const char* const names[] = {"p_device_mdc", "p_driver_modbus"};
    return std::all_of(std::begin(names), std::end(names), [](const char* name) {
        QPluginLoader loader(QCoreApplication::applicationDirPath() + QStringLiteral("/../plugins/lib") +
                             QString::fromLatin1(name) + QStringLiteral(".so"));
        return loader.instance() != nullptr;
    });
}

int timed(bool (*load)())
{
    QElapsedTimer clock;
    clock.start();
    const bool isGood = load();
    std::printf("%.6f\n", static_cast<double>(clock.nsecsElapsed()) / 1e6);
    return isGood ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    const QString what = application.arguments().value(1);
    if (what == QLatin1String("--libraries"))
        return timed(loadLibraries);
    if (what == QLatin1String("--plugins"))
        return timed(loadPlugins);
    QVector<double> libraries;
    QVector<double> plugins;
    QVector<double> ratios;
    for (int round = -1; round < c_rounds; ++round) {
        const double ofLibraries = inFreshProcess("--libraries");
        const double ofPlugins = inFreshProcess("--plugins");
        if (ofLibraries < 0 || ofPlugins < 0) {
            std::fprintf(stderr, "loading failed\n");
            return 1;
        }
        if (round < 0)
            continue;
        libraries.append(ofLibraries);
        plugins.append(ofPlugins);
        ratios.append(ofPlugins / ofLibraries);
    }
    const auto middle = [](QVector<double> values) {
        std::sort(values.begin(), values.end());
        return values.at(values.size() / 2);
    };
    std::printf("| loading both plug-ins | – | %.3g ms | Qt's libraries: %.3g ms | %.2f | %.2f | 1.50 |\n",
                middle(plugins), middle(libraries), middle(ratios),
                *std::max_element(ratios.cbegin(), ratios.cend()));
    return 0;
}
