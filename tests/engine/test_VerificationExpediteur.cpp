#include "engine/VerificationExpediteur.h"

#include "messenger/NameQuery.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QThread>

#include <gtest/gtest.h>

using namespace pv;
using V = VerdictExpediteur;

namespace {
// The hosts file for names, a fixed NetBIOS answer: nothing leaves loopback.
ResolveursExpediteur resolveurs(std::vector<uint32_t> netbios)
{
    return {[](const QString& nom) {
                return nom.startsWith(QLatin1String("PC")) ? std::vector<uint32_t> {}
                                                           : resolveIpv4All(nom.toStdString(), 1000);
            },
            [netbios](const codec::NetbiosName&) { return netbios; }};
}
} // namespace

TEST(VerificationExpediteur, PeerAgainstTheSendersAddresses)
{
    const struct
    {
        const char* expediteur;
        const char* pair;
        std::vector<uint32_t> netbios;
        V attendu;
    } cas[] = {
        {"localhost", "127.0.0.1", {}, V::Confirme},
        {"localhost", "127.0.0.2", {}, V::AutreAdresse},
        {"localhost", "", {}, V::Indetermine},
        {"localhost", "not an address", {}, V::Indetermine},
        {"10.1.2.3", "10.1.2.3", {}, V::Confirme},
        {"10.1.2.3", "10.1.2.4", {0x0A010204}, V::AutreAdresse}, // a literal is never asked by NetBIOS
        {"PC7", "10.0.0.5", {0x0A000009, 0x0A000005}, V::Confirme},
        {"PC7", "10.0.0.6", {0x0A000005}, V::AutreAdresse},
        {"PC7", "10.0.0.6", {}, V::Indetermine}, // nobody answers for the name
    };
    for (const auto& c : cas) {
        EXPECT_EQ(gVerifierExpediteur(c.expediteur, c.pair, resolveurs(c.netbios)), c.attendu)
            << c.expediteur << " from " << c.pair;
    }
}

TEST(VerificationExpediteur, AnswersOnTheContextThread)
{
    int argc = 0;
    QCoreApplication app(argc, nullptr);
    QObject contexte;
    QEventLoop boucle;
    std::optional<V> verdict;
    bool memeThread = false;
    gVerifierExpediteurAsync(
        &contexte,
        "localhost",
        "127.0.0.2",
        [&](V v) {
            verdict = v;
            memeThread = QThread::currentThread() == app.thread();
            boucle.quit();
        },
        resolveurs({}));
    boucle.exec();
    EXPECT_EQ(verdict, V::AutreAdresse);
    EXPECT_TRUE(memeThread);
}
