#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>

#include <optional>

namespace pv {

// What one notification says.
struct ContenuNotification
{
    QString titre;
    QString texte;
    QString libelleAction; // the action that opens what the notification tells of
};

// The desktop's own notifications (org.freedesktop.Notifications on the session bus), for desktops without a
// tray: they keep a history and honour the do-not-disturb switch. Each new notification replaces the previous
// one, so unread messages never pile up on the screen.
class NotificationBureau : public QObject
{
    Q_OBJECT

public:
    explicit NotificationBureau(const QDBusConnection& bus = QDBusConnection::sessionBus(), QObject* parent = nullptr);

    // Whether a notification service runs or can be started on the bus; asked anew each time.
    virtual bool disponible() const;
    // Sends the notification, replacing the previous one. The answer comes later: a refusal emits echec().
    virtual void afficher(const ContenuNotification& contenu);
    // Takes the current notification away (the messages were read another way).
    void fermer();

    // The Notify call for that content, replacing notification `remplace` (0: none).
    static QDBusMessage messageNotify(const ContenuNotification& contenu, uint remplace);

Q_SIGNALS:
    // The user chose the notification's action; `jeton` is the desktop's activation token when it gave one.
    void actionInvoquee(const QByteArray& jeton);
    // The service did not take the notification: what it told of must be shown another way.
    void echec();

private Q_SLOTS:
    void onActionInvoked(uint id, const QString& action);
    void onActivationToken(uint id, const QString& jeton);

private:
    void envoyer();

    QDBusConnection m_bus;
    uint m_id = 0;                                // the notification on screen, 0 when none
    bool m_enAttente = false;                     // a Notify has not been answered yet
    std::optional<ContenuNotification> m_suivant; // sent once the pending Notify is answered
    QByteArray m_jeton;
};

} // namespace pv
