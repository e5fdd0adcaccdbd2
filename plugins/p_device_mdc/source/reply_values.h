#pragma once

#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <optional>

// What a driver's reply holds under "values". It tells what is there and never whether that is good:
// commands differ in what they make of a malformed reply.
class ReplyValues
{
public:
    explicit ReplyValues(const QVariantMap& reply);

    // The reply has the key "values", whatever stands under it.
    [[nodiscard]] bool isPresent() const { return m_present; }
    // It is a list, possibly empty.
    [[nodiscard]] bool isList() const { return m_isList; }
    // It is a list of no elements, or no list.
    [[nodiscard]] bool isEmpty() const { return m_list.isEmpty(); }
    // The list; empty when there is none.
    [[nodiscard]] const QVariantList& list() const { return m_list; }
    // Its first element; invalid when there is none, which reads as 0 and false.
    [[nodiscard]] QVariant first() const { return m_list.value(0); }

private:
    bool m_present = false;
    bool m_isList = false;
    QVariantList m_list;
};

// The words of a block under a reply's "values": the list itself, or what a map holds as "values" or,
// without that key, as `resultName`, where anything but a list counts as no words. Nothing when
// `values` is neither a list nor a map.
std::optional<QVariantList> blockWords(const QVariant& values, const QString& resultName);
