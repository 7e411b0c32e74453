#include "engine/RaccourciPortail.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QFileInfo>
#include <QStandardPaths>

namespace pv {

namespace {

const QString Service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString Chemin = QStringLiteral("/org/freedesktop/portal/desktop");
const QString Interface = QStringLiteral("org.freedesktop.portal.GlobalShortcuts");

// One shortcut as BindShortcuts takes it: (sa{sv}).
struct Raccourci
{
    QString id;
    QVariantMap proprietes;
};

QDBusArgument& operator<<(QDBusArgument& argument, const Raccourci& r)
{
    argument.beginStructure();
    argument << r.id << r.proprietes;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Raccourci& r)
{
    argument.beginStructure();
    argument >> r.id >> r.proprietes;
    argument.endStructure();
    return argument;
}

} // namespace

} // namespace pv

Q_DECLARE_METATYPE(pv::Raccourci)

namespace pv {

bool gSessionWayland()
{
    return qEnvironmentVariable("XDG_SESSION_TYPE") == QLatin1String("wayland")
           || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

QString gCommandeAfficher(const QString& programme)
{
    // The bare name where the desktop's shortcut would find this very program, else its whole path.
    const QString nom = QFileInfo(programme).fileName();
    const QString trouve = QStandardPaths::findExecutable(nom);
    const bool surLeChemin
        = !trouve.isEmpty() && QFileInfo(trouve).canonicalFilePath() == QFileInfo(programme).canonicalFilePath();
    QString commande = surLeChemin ? nom : programme;
    if (commande.contains(QLatin1Char(' '))) {
        commande = QLatin1Char('"') + commande + QLatin1Char('"');
    }
    return commande + QStringLiteral(" --show");
}

RaccourciPortail::RaccourciPortail(const QDBusConnection& bus, QObject* parent)
    : QObject(parent)
    , m_bus(bus)
{
}

bool RaccourciPortail::disponible()
{
    if (m_disponible < 0) {
        QDBusMessage m = QDBusMessage::createMethodCall(
            Service, Chemin, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
        m << Interface << QStringLiteral("version");
        // The portal starts on demand and answers at once; a desktop without it answers with an error.
        m_disponible = m_bus.isConnected() && m_bus.call(m, QDBus::Block, 3000).type() == QDBusMessage::ReplyMessage;
        if (m_disponible) {
            m_bus.connect(
                Service, Chemin, Interface, QStringLiteral("Activated"), this, SLOT(onActivated(QDBusMessage)));
        }
    }
    return m_disponible == 1;
}

QString RaccourciPortail::declencheur(const HotKey& touches)
{
    QString touche;
    const int code = touches.virtualKey;
    if ((code >= 'A' && code <= 'Z') || (code >= '0' && code <= '9')) {
        touche = QChar(code).toLower();
    } else if (code >= 112 && code <= 123) {
        touche = QStringLiteral("F") + QString::number(code - 111);
    } else {
        return {};
    }
    QString texte;
    for (const auto& [bit, nom] : {std::pair {int(HotKey::Ctrl), "CTRL+"},
                                   std::pair {int(HotKey::Shift), "SHIFT+"},
                                   std::pair {int(HotKey::Alt), "ALT+"},
                                   std::pair {int(HotKey::Win), "LOGO+"}}) {
        if (touches.modifiers & bit) {
            texte += QLatin1String(nom);
        }
    }
    return texte + touche;
}

QDBusMessage RaccourciPortail::messageCreerSession(const QString& jeton)
{
    QDBusMessage m = QDBusMessage::createMethodCall(Service, Chemin, Interface, QStringLiteral("CreateSession"));
    m << QVariantMap {{QStringLiteral("handle_token"), jeton}, {QStringLiteral("session_handle_token"), jeton}};
    return m;
}

QDBusMessage RaccourciPortail::messageLierRaccourcis(const QDBusObjectPath& session,
                                                     const HotKey& touches,
                                                     const QString& description)
{
    QVariantMap proprietes {{QStringLiteral("description"), description}};
    if (const QString d = declencheur(touches); !d.isEmpty()) {
        proprietes.insert(QStringLiteral("preferred_trigger"), d);
    }
    // Without its D-Bus type the list would go out as nothing at all.
    [[maybe_unused]] static const bool types
        = (qDBusRegisterMetaType<Raccourci>(), qDBusRegisterMetaType<QList<Raccourci>>(), true);
    QDBusMessage m = QDBusMessage::createMethodCall(Service, Chemin, Interface, QStringLiteral("BindShortcuts"));
    m << QVariant::fromValue(session)
      << QVariant::fromValue(QList<Raccourci> {{QLatin1String(IdRaccourci), proprietes}}) << QString() << QVariantMap();
    return m;
}

QString RaccourciPortail::cheminRequete(const QString& jeton) const
{
    // The portal names each request after the caller's unique bus name and the token it chose.
    QString appelant = m_bus.baseService().mid(1);
    appelant.replace(QLatin1Char('.'), QLatin1Char('_'));
    return Chemin + QStringLiteral("/request/") + appelant + QLatin1Char('/') + jeton;
}

// The answer to a portal request comes as the Response signal of the request's own object.
void RaccourciPortail::ecouterReponse(bool ecouter)
{
    const QString interface = QStringLiteral("org.freedesktop.portal.Request");
    const QString signal = QStringLiteral("Response");
    if (ecouter) {
        m_bus.connect(Service, m_requete, interface, signal, this, SLOT(onSessionCreee(uint, QVariantMap)));
    } else {
        m_bus.disconnect(Service, m_requete, interface, signal, this, SLOT(onSessionCreee(uint, QVariantMap)));
        m_requete.clear();
    }
}

bool RaccourciPortail::enregistrer(const HotKey& touches, const QString& description)
{
    liberer();
    if (!disponible()) {
        return false;
    }
    m_touches = touches;
    m_description = description;
    const QString jeton = QStringLiteral("pilvanor%1").arg(++m_numero);
    m_requete = cheminRequete(jeton);
    // Listening before asking: the answer may come before the call returns.
    ecouterReponse(true);
    m_bus.call(messageCreerSession(jeton), QDBus::NoBlock);
    return true;
}

void RaccourciPortail::onSessionCreee(uint reponse, const QVariantMap& resultats)
{
    ecouterReponse(false);
    // A string in the portal's documents, an object path in some implementations.
    const QVariant v = resultats.value(QStringLiteral("session_handle"));
    const QString session
        = v.userType() == qMetaTypeId<QDBusObjectPath>() ? v.value<QDBusObjectPath>().path() : v.toString();
    if (reponse != 0 || session.isEmpty()) {
        return;
    }
    m_session = QDBusObjectPath(session);
    m_bus.call(messageLierRaccourcis(m_session, m_touches, m_description), QDBus::NoBlock);
}

void RaccourciPortail::liberer()
{
    if (!m_requete.isEmpty()) {
        ecouterReponse(false);
    }
    if (!m_session.path().isEmpty()) {
        m_bus.call(
            QDBusMessage::createMethodCall(
                Service, m_session.path(), QStringLiteral("org.freedesktop.portal.Session"), QStringLiteral("Close")),
            QDBus::NoBlock);
        m_session = {};
    }
}

void RaccourciPortail::onActivated(const QDBusMessage& signal)
{
    const QVariantList arguments = signal.arguments();
    if (arguments.size() >= 2 && arguments[0].value<QDBusObjectPath>() == m_session
        && arguments[1].toString() == QLatin1String(IdRaccourci)) {
        Q_EMIT activated();
    }
}

} // namespace pv
