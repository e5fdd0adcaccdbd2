#pragma once

#include "source_place.h"

#include <QString>
#include <QVariant>
#include <QVariantList>
#include <QVariantMap>

#include <optional>

class QObject;

namespace mdc {

// What a driver's reply holds under "values". It tells what is there and never whether that is good:
// commands differ in what they make of a malformed reply.
class ReplyValues
{
public:
    explicit ReplyValues(const QVariantMap& reply);

    // The reply has the key "values", whatever stands under it.
    [[nodiscard]] bool isPresent() const { return m_present; }
    // It is a QVariantList, possibly empty; what merely converts to one is none.
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

// The reply tells that the instruction failed: it answers nothing, even when it holds values. A host may
// send the error number 0 (none) with every reply.
bool isFailureNotice(const QVariantMap& reply);
// The notice's error number, 0 when there is none.
int failureCode(const QVariantMap& reply);
// The notice's text; empty when there is none.
QString failureText(const QVariantMap& reply);
// Logs number and text of a notice, for the caller's own message tells only what it was about. Nothing
// when the reply is none.
void logFailureNotice(const QObject* object, const QVariantMap& reply,
                      const SourcePlace& place = SourcePlace::current());

// The words of a block under a reply's "values": the list itself, or what a map holds as "values" or,
// without that key, as `resultName`, where anything but a list counts as no words. Nothing when
// `values` is neither a list nor a map.
std::optional<QVariantList> blockWords(const QVariant& values, const QString& resultName);

} // namespace mdc
