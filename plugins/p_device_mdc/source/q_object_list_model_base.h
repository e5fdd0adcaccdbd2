#pragma once

#include <QAbstractListModel>
#include <QByteArray>
#include <QHash>
#include <QList>
#include <QQmlEngine>
#include <QSharedPointer>
#include <QVariant>

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name by which the page's library is known
namespace __qobjectsqmllist {

// A list of QObjects as a model of one column. A row shares the ownership of its item; QML, to which
// items are handed out, never owns them. The item itself is the role "modelData", and any other role is the
// item's property of that role's name, of which the model names none but those of every item model.
template <class Item>
class QObjectListModelBase : public QAbstractListModel
{
public:
    static constexpr int c_modelDataRole = Qt::UserRole;

    explicit QObjectListModelBase(QObject* parent = nullptr)
        : QAbstractListModel(parent)
    {}

    int rowCount(const QModelIndex& parent = QModelIndex()) const override
    {
        return parent.isValid() ? 0 : m_items.size();
    }

    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override
    {
        const int row = index.row();
        if (row < 0 || row >= m_items.size())
            return {};
        Item* const item = m_items.at(row).data();
        if (role == c_modelDataRole)
            return QVariant::fromValue<QObject*>(item);
        const QByteArray property = roleNames().value(role);
        return item == nullptr || property.isEmpty() ? QVariant() : item->property(property.constData());
    }

    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override
    {
        if (m_items.isEmpty() || orientation != Qt::Horizontal)
            return {};
        return QAbstractListModel::headerData(section, orientation, role);
    }

    QHash<int, QByteArray> roleNames() const override
    {
        QHash<int, QByteArray> names = QAbstractListModel::roleNames();
        names.insert(c_modelDataRole, QByteArrayLiteral("modelData"));
        return names;
    }

    // The item of a row; null outside the rows.
    QSharedPointer<Item> at(int row) const { return m_items.value(row); }

    // The derived class's changed() is for its owner to emit, once the list is as it should be.
    void append(const QSharedPointer<Item>& item)
    {
        if (!item.isNull())
            QQmlEngine::setObjectOwnership(item.data(), QQmlEngine::CppOwnership);
        beginInsertRows(QModelIndex(), m_items.size(), m_items.size());
        m_items.append(item);
        endInsertRows();
    }

    void clear()
    {
        beginResetModel();
        m_items.clear();
        endResetModel();
    }

private:
    QList<QSharedPointer<Item>> m_items;
};

} // namespace __qobjectsqmllist
