#pragma once

#include "d_mdc_channel.h"
#include "q_object_list_model_base.h"

// The maintenance page's list of live channels.
class OLM_DMdcChannel : public __qobjectsqmllist::QObjectListModelBase<DMdcChannel>
{
    Q_OBJECT
    Q_PROPERTY(int length READ length NOTIFY changed)
    Q_PROPERTY(int isEmpty READ isEmpty NOTIFY changed)

public:
    explicit OLM_DMdcChannel(QObject* parent = nullptr);
    ~OLM_DMdcChannel() override;

    int length() const;
    // Not 0 when there are no items.
    int isEmpty() const;
    // The header of a column.
    Q_INVOKABLE QVariant header(int section);
    // The item of a row as a QObject*, which stays the list's; invalid outside the rows.
    Q_INVOKABLE QVariant item(int i);

Q_SIGNALS:
    // The content has changed. Emitted by the list's owner after filling or clearing it.
    void changed();
};
