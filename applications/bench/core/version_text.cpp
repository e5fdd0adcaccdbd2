#include "applications/bench/core/version_text.h"

#include <lib_host/d_host.h>
#include <lib_plugins_management/contract_version.h>
#include <lib_utilities/version.h>

#include <QFileInfo>
#include <QStringList>

namespace {

QString programLine()
{
    const QString commit = QStringLiteral(MDC_BENCH_COMMIT);
    const QString text = QStringLiteral("mdc-bench " MDC_BENCH_VERSION);
    return commit.isEmpty() ? text : QStringLiteral("%1 (commit %2)").arg(text, commit);
}

QString pluginLine(const DPluginReport& report)
{
    if (!report.error.isEmpty())
        return QStringLiteral("refused: ") + report.error;
    return QStringLiteral("%1 %2 (%3)")
        .arg(report.name, versionToString(report.version), QFileInfo(report.file).fileName());
}

} // namespace

QString versionText(const QList<DPluginReport>& plugins)
{
    QStringList lines{programLine(),
                      QStringLiteral("contract %1.%2")
                          .arg(contract_version::c_breaking)
                          .arg(contract_version::c_compatible),
                      QStringLiteral("Qt %1, built with %2")
                          .arg(QString::fromLatin1(qVersion()), QStringLiteral(QT_VERSION_STR))};
    for (const DPluginReport& plugin : plugins)
        lines.append(pluginLine(plugin));
    return lines.join(QLatin1Char('\n')) + QLatin1Char('\n');
}
