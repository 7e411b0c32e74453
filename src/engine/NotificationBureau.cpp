#include "engine/NotificationBureau.h"

#include "common/Paths.h"

#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QVariantMap>

namespace pv {

namespace {

const QString Service = QStringLiteral("org.freedesktop.Notifications");
const QString Chemin = QStringLiteral("/org/freedesktop/Notifications");
const QString Interface = QStringLiteral("org.freedesktop.Notifications");
const QString IdentiteBureau = QStringLiteral("org.pilvanor.Pilvanor");
const QString ActionOuvrir = QStringLiteral("default");

// Servers that understand markup would read "<" in a message as a tag.
QString sansBalises(const QString& texte)
{
    return texte.toHtmlEscaped();
}

} // namespace

NotificationBureau::NotificationBureau(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , m_bus(bus)
{
    m_bus.connect(
        Service, Chemin, Interface, QStringLiteral("ActionInvoked"), this, SLOT(onActionInvoked(uint, QString)));
    m_bus.connect(
        Service, Chemin, Interface, QStringLiteral("ActivationToken"), this, SLOT(onActivationToken(uint, QString)));
}

bool NotificationBureau::disponible() const
{
    const QDBusConnectionInterface* bus = m_bus.interface();
    if (!m_bus.isConnected() || !bus) {
        return false;
    }
    if (bus->isServiceRegistered(Service).value()) {
        return true;
    }
    // Many notification services start on their first call.
    return bus->activatableServiceNames().value().contains(Service);
}

QDBusMessage NotificationBureau::messageNotify(const ContenuNotification& contenu, uint remplace)
{
    QDBusMessage m = QDBusMessage::createMethodCall(Service, Chemin, Interface, QStringLiteral("Notify"));
    const QVariantMap indications {
        {QStringLiteral("desktop-entry"), IdentiteBureau},
        {QStringLiteral("category"), QStringLiteral("im.received")},
        {QStringLiteral("urgency"), QVariant::fromValue(uchar(1))},
    };
    m << QLatin1String(TitreApplication) << remplace << IdentiteBureau << contenu.titre << sansBalises(contenu.texte)
      << QStringList {ActionOuvrir, contenu.libelleAction} << indications << -1;
    return m;
}

void NotificationBureau::afficher(const ContenuNotification& contenu)
{
    m_suivant = contenu;
    if (!m_enAttente) {
        envoyer();
    }
}

void NotificationBureau::envoyer()
{
    if (!m_suivant) {
        return;
    }
    const ContenuNotification contenu = std::move(*m_suivant);
    m_suivant.reset();
    m_enAttente = true;
    auto* attente = new QDBusPendingCallWatcher(m_bus.asyncCall(messageNotify(contenu, m_id), 5000), this);
    connect(attente, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher* w) {
        w->deleteLater();
        m_enAttente = false;
        const QDBusPendingReply<uint> reponse = *w;
        if (reponse.isError()) {
            m_id = 0;
            Q_EMIT echec();
        } else {
            m_id = reponse.value();
        }
        if (m_suivant) {
            envoyer();
        }
    });
}

void NotificationBureau::fermer()
{
    m_suivant.reset();
    if (m_id == 0) {
        return;
    }
    QDBusMessage m = QDBusMessage::createMethodCall(Service, Chemin, Interface, QStringLiteral("CloseNotification"));
    m << std::exchange(m_id, 0u);
    m_bus.call(m, QDBus::NoBlock);
}

void NotificationBureau::onActivationToken(uint id, const QString& jeton)
{
    // Sent just before ActionInvoked, for the window that the action brings forward.
    if (id != 0 && id == m_id) {
        m_jeton = jeton.toUtf8();
    }
}

void NotificationBureau::onActionInvoked(uint id, const QString& action)
{
    if (id == 0 || id != m_id || action != ActionOuvrir) {
        return;
    }
    Q_EMIT actionInvoquee(std::exchange(m_jeton, {}));
}

} // namespace pv
