#include "olm_d_mdc_channel.h"

OLM_DMdcChannel::OLM_DMdcChannel(QObject* parent)
    : QObjectListModelBase(parent)
{}

OLM_DMdcChannel::~OLM_DMdcChannel() = default;

int OLM_DMdcChannel::length() const
{
    return rowCount();
}

int OLM_DMdcChannel::isEmpty() const
{
    return rowCount() == 0 ? 1 : 0;
}

QVariant OLM_DMdcChannel::header(int section)
{
    return headerData(section, Qt::Horizontal, Qt::DisplayRole);
}

QVariant OLM_DMdcChannel::item(int i)
{
    return data(index(i), c_modelDataRole);
}
