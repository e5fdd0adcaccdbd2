#include "applications/panel/panel_page.h"

#include "applications/panel/action_failure.h"
#include "applications/panel/page_text.h"

#include <QDateTime>
#include <QFile>
#include <QLocale>
#include <QQmlContext>
#include <QQmlEngine>

#include <utility>

namespace {

constexpr int c_identificationRetry = 2000; // ms

// The folder of the host's frames and widgets is named relative to this place.
const QString c_pageUrl = QStringLiteral("qrc:/plugins/p_device_mdc/qml/maintenance_panel.qml");

QString pagePath(const PanelDevice& device)
{
    return QStringLiteral(":/%1/maintenance_panel.qml").arg(device.kind.toString());
}

QString errorText(const QQmlComponent& component)
{
    QStringList lines;
    const QList<QQmlError> errors = component.errors();
    for (const QQmlError& error : errors)
        lines.append(error.toString());
    return lines.join(QLatin1Char('\n'));
}

// Those that say what is wrong with what stands in them.
QList<QObject*> fieldsOf(const QQuickItem& page)
{
    QList<QObject*> fields;
    const QList<QQuickItem*> items = page.findChildren<QQuickItem*>();
    for (QQuickItem* const item : items) {
        if (item->metaObject()->indexOfProperty("problem") >= 0)
            fields.append(item);
    }
    return fields;
}

// An answer that could be read has a version, of devices that tell one. Without it the plug-in takes the
// controller for one of the first generation, and the page would write that one's registers.
bool tellsWhoItIs(const QVariantMap& results)
{
    for (const QVariant& result : results) {
        const QVariantList entries = result.toList();
        for (const QVariant& entry : entries) {
            const QVariantMap map = entry.toMap();
            if (map.value(QStringLiteral("id")) == QLatin1String("version") &&
                map.value(QStringLiteral("value")).toString().isEmpty())
                return false;
        }
    }
    return true;
}

} // namespace

PanelPage::PanelPage(QQmlEngine& engine, const PanelDevice& device)
    : m_device(device)
{
    m_retry.setSingleShot(true);
    m_retry.setInterval(c_identificationRetry);
    connect(&m_retry, &QTimer::timeout, this, &PanelPage::identify);

    m_error = missingText(device);
    QFile file(pagePath(device));
    if (!m_error.isEmpty() || !file.open(QIODevice::ReadOnly))
        return;
    m_component = std::make_unique<QQmlComponent>(&engine);
    m_component->setData(filledPage(file.readAll(), {device.name, device.uuid.toString(), device.reference}),
                         QUrl(c_pageUrl));
    std::unique_ptr<QObject> made(m_component->beginCreate(engine.rootContext()));
    auto* const root = qobject_cast<QQuickItem*>(made.get());
    m_backend = made == nullptr ? nullptr : made->findChild<DAbstractPluginBackend*>();
    if (root == nullptr || m_backend.isNull()) {
        if (made != nullptr)
            m_component->completeCreate();
        m_error =
            QStringLiteral("the maintenance page of \"%1\" cannot be shown: %2")
                .arg(device.name, m_component->isError() ? errorText(*m_component)
                                                         : QStringLiteral("it has no item or no backend"));
        return;
    }
    m_item.reset(qobject_cast<QQuickItem*>(made.release()));
    // Before the page is complete and begins to read.
    tellFrame("identified", false);
    m_component->completeCreate();
    follow();
}

PanelPage::~PanelPage() = default;

QString PanelPage::missingText(const PanelDevice& device)
{
    return QFile::exists(pagePath(device))
               ? QString()
               : QStringLiteral("the plug-in of \"%1\" has no maintenance page").arg(device.name);
}

bool PanelPage::isConnected() const
{
    return !m_backend.isNull() && m_backend->isConnected();
}

bool PanelPage::isAnswered() const
{
    return m_identified && m_polled && m_states->isFresh() && !isWaiting();
}

bool PanelPage::isComplete() const
{
    return isAnswered() && !hasUnreadValues();
}

bool PanelPage::hasUnreadValues() const
{
    return !m_unread.isEmpty() || (m_states != nullptr && m_states->unread() > 0);
}

bool PanelPage::isWaiting() const
{
    return m_identification != 0 || (!m_backend.isNull() && m_backend->hasPendingTreatments()) ||
           (m_states != nullptr && m_states->isWaiting());
}

void PanelPage::awaitValues()
{
    m_polled = false;
    m_leftOver = !m_backend.isNull() && m_backend->hasPendingTreatments();
    if (m_states != nullptr)
        m_states->await();
}

void PanelPage::follow()
{
    m_backend->setTakesOnce(true);
    m_actions = std::make_unique<PageActions>(*m_item, *m_backend);
    m_states = std::make_unique<PageStates>(m_device, *m_backend);
    connect(m_states.get(), &PageStates::ended, this, &PanelPage::stateEnded);
    connect(m_backend, &DAbstractPluginBackend::instructionEnded, this, &PanelPage::instructionEnded);
    connect(m_backend, &DAbstractPluginBackend::isConnectedChanged, this, &PanelPage::connectionChanged);
    connect(m_backend, &DAbstractPluginBackend::treatmentEnded, this, &PanelPage::treatmentEnded);
    // Queued: the page's own handler has asked for its values by then.
    if (m_item->metaObject()->indexOfSignal("updateData()") >= 0)
        connect(m_item.get(), SIGNAL(updateData()), this, SLOT(updateAsked()), Qt::QueuedConnection);
    m_outdated = !isConnected();
    m_askedAtTheStart = m_backend->runningInstruction(pageInformation(*m_backend, "identification"));
    tellFrame("fields", QVariant::fromValue(fieldsOf(*m_item)));
    showStates();
    connectionChanged();
}

// A page without values has them all.
void PanelPage::updateAsked()
{
    if (!m_identified)
        return;
    if (!isWaiting())
        m_polled = true;
    m_states->read();
}

void PanelPage::connectionChanged()
{
    m_retry.stop();
    // An answer that is still to come is of the connection before.
    m_identification = 0;
    m_identified = false;
    awaitValues();
    m_unread.clear();
    tellFrame("identified", false);
    tellFrame("identificationFailure", QString());
    tellFrame("unreadValues", 0);
    if (isConnected())
        identify();
    else
        m_outdated = true;
    // From now on it is of a connection before.
    m_askedAtTheStart = 0;
}

// What the page asks for by itself, from the beginning on, identifies the device for its frame too: both know
// it, or neither.
void PanelPage::identify()
{
    if (!isConnected())
        return;
    const QString command = pageInformation(*m_backend, "identification");
    if (command.isEmpty()) {
        identityKnown();
        return;
    }
    m_identification = std::exchange(m_askedAtTheStart, 0);
    if (m_identification == 0)
        m_identification = m_backend->repeatInstruction(command);
    if (m_identification == 0)
        m_identification = m_backend->sendAnInstruction(
            command, {{QStringLiteral("reference"), m_device.reference}}, {}, -1, {});
}

void PanelPage::instructionEnded(quint64 id, const QString& /*commandName*/, const DOrderOutcome& outcome)
{
    if (id != m_identification)
        return;
    m_identification = 0;
    const QString unreadable = QStringLiteral("the controller gave an answer that no known controller gives");
    if (!outcome.ok || !tellsWhoItIs(outcome.results)) {
        tellFrame("identificationFailure", outcome.ok ? unreadable : outcome.errorMessage);
        m_retry.start();
        return;
    }
    identityKnown();
}

void PanelPage::identityKnown()
{
    m_identified = true;
    if (m_outdated && !m_backend.isNull())
        forgetValues();
    m_outdated = false;
    tellFrame("identificationFailure", QString());
    tellFrame("identified", true);
}

// The rows begin anew, without values, so that there is no newest one.
void PanelPage::forgetValues()
{
    QMetaObject::invokeMethod(m_backend, "resetBackend");
    m_unread.clear();
    m_actions->forget();
    m_states->forget();
    showStates();
    tellFrame("valuesTime", 0.0);
}

void PanelPage::treatmentEnded(int index, const QString& commandName, const DOrderOutcome& outcome)
{
    const bool isOfBefore = m_leftOver;
    m_leftOver = m_leftOver && m_backend->hasPendingTreatments();
    if (commandName == pageInformation(*m_backend, "reading")) {
        valueEnded(index, outcome.ok, isOfBefore);
        return;
    }
    const ActionFailure failure = actionFailure(actionName(*m_backend, commandName), outcome);
    m_actions->ended(commandName, failure.title.isEmpty());
    if (failure.title.isEmpty())
        return;
    tellFrame("failureTitle", failure.title);
    tellFrame("failureReason", failure.reason);
    tellFrame("failureDetail", failure.detail);
    tellFrame("failureUncertain", failure.uncertain);
    tellFrame("failureTime", QLocale().toString(QTime::currentTime(), QStringLiteral("HH:mm:ss")));
}

// The last of what was asked for before says nothing of what cannot be read now.
void PanelPage::valueEnded(int row, bool read, bool isOfBefore)
{
    m_polled = m_polled || !isOfBefore;
    if (read) {
        m_unread.remove(row);
        tellFrame("valuesTime", static_cast<double>(QDateTime::currentMSecsSinceEpoch()));
    } else if (isConnected() && !isOfBefore) {
        m_unread.insert(row);
    }
    showUnread();
}

void PanelPage::stateEnded(bool read)
{
    if (read)
        tellFrame("valuesTime", static_cast<double>(QDateTime::currentMSecsSinceEpoch()));
    showStates();
    showUnread();
}

// Told only when they are other ones: their rows are made anew.
void PanelPage::showStates()
{
    const QVariantList rows = m_states->rows();
    if (rows == m_shownStates)
        return;
    m_shownStates = rows;
    tellFrame("states", rows);
}

void PanelPage::showUnread()
{
    tellFrame("unreadValues", m_unread.size() + m_states->unread());
}

// A frame without a property does not care for it.
void PanelPage::tellFrame(const char* property, const QVariant& value)
{
    if (m_item->metaObject()->indexOfProperty(property) >= 0)
        m_item->setProperty(property, value);
}
