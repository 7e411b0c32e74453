#pragma once

#include "engine/HotKey.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QObject>
#include <QVariantMap>

namespace pv {

// A Wayland session: no program may grab a key for the whole desktop, X11 clients included.
bool gSessionWayland();
// The command that brings the running program forward, for the user to bind to a key in the desktop's settings.
QString gCommandeAfficher(const QString& programme);

// The hot key through the desktop's global-shortcuts portal (org.freedesktop.portal.GlobalShortcuts), where a
// Wayland session lets no program grab a key itself. The desktop owns the binding: it may ask the user first,
// and the user may change the key in its settings.
class RaccourciPortail : public QObject
{
    Q_OBJECT

public:
    static constexpr auto IdRaccourci = "afficher";

    explicit RaccourciPortail(const QDBusConnection& bus = QDBusConnection::sessionBus(), QObject* parent = nullptr);

    // Whether the desktop offers the portal; asked once, the answer is kept.
    bool disponible();
    // Asks for the chord, replacing an earlier one. False when there is no portal to ask.
    bool enregistrer(const HotKey& touches, const QString& description);
    void liberer();

    // The chord in the shortcut form the portal takes ("CTRL+ALT+m"), empty when the key has no name there.
    static QString declencheur(const HotKey& touches);
    static QDBusMessage messageCreerSession(const QString& jeton);
    static QDBusMessage
    messageLierRaccourcis(const QDBusObjectPath& session, const HotKey& touches, const QString& description);

Q_SIGNALS:
    void activated();

private Q_SLOTS:
    void onSessionCreee(uint reponse, const QVariantMap& resultats);
    // Activated(o session, s id, t timestamp, a{sv} options)
    void onActivated(const QDBusMessage& signal);

private:
    void ecouterReponse(bool ecouter);
    QString cheminRequete(const QString& jeton) const;

    QDBusConnection m_bus;
    int m_disponible = -1; // unknown, 0 or 1
    int m_numero = 0;      // makes each request's token unique
    QString m_requete;     // the CreateSession request waiting for its answer
    QDBusObjectPath m_session;
    HotKey m_touches;
    QString m_description;
};

} // namespace pv
