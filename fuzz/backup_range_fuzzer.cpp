#include "fuzz/require.h"
#include "plugins/p_device_mdc/model/backup_range.h"

#include <QRegularExpression>

#include <algorithm>
#include <cstddef>
#include <cstdint>

// Any text as the register ranges of a model: the ranges stay within their limits, whatever it says.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const QRegularExpression c_expression(backupRangePattern());
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QList<BackupRangeItem> items = backupRangeItems(c_expression, text);
    const std::optional<BackupRange> range = backupRange(items);
    if (range)
        require(range->first >= 1 && range->count >= 2 && range->count <= c_backupRegistersLimit,
                "a range stays within its limits");

    const RestoreGroups result = restoreGroups(items, range ? range->first : 1, range ? range->count : 1);
    if (result.fault != RestoreGroups::CeNoFault) {
        require(!result.item.isEmpty() && result.groups.isEmpty(), "a refusal names its item");
        return 0;
    }
    qint64 listed = 0;
    for (const QList<int>& registers : result.groups)
        listed += registers.size();
    require(listed <= c_groupRegistersLimit, "groups stay within their limit");
    const std::optional<QList<int>> list = registersToRestore(result.groups, 1, 50, true);
    if (list)
        require(list->size() <= c_restoreRegistersLimit && std::is_sorted(list->cbegin(), list->cend()),
                "a restore ascends");
    return 0;
}
