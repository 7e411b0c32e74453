#include "viewer/PageImpression.h"

#include <gtest/gtest.h>

using namespace pv;

TEST(PageImpression, CaptionsAlignAndReminderHasItsTitle)
{
    struct Cas
    {
        TypeFenetre type;
        const char* legende;
        const char* attendu;
    };
    const Cas cas[] = {
        {TypeFenetre::HistoriqueRecu, "Sender", "\r\n\r\n     Sender: PC1\r\nDate / Time: d\r\n___\r\n\r\n\r\nm\r\nx"},
        {TypeFenetre::HistoriqueEnvoye,
         "Recipient name",
         "\r\n\r\nRecipient name: PC1\r\n   Date / Time: d\r\n___\r\n\r\n\r\nm\r\nx"},
        {TypeFenetre::Rappel, "Sender", "\r\n\r\nReminder\r\nDate / Time: d\r\n___\r\n\r\n\r\nm\r\nx"},
    };
    for (const Cas& c : cas) {
        PageImpression p;
        p.type = c.type;
        p.legendeExpediteur = c.legende;
        p.expediteur = "PC1";
        p.legendeDateHeure = "Date / Time";
        p.dateHeure = "d";
        p.titreRappel = "Reminder";
        p.message = "m\r\nx";
        p.longueurRegle = 3;
        EXPECT_EQ(gTexteImpression(p), c.attendu) << c.legende;
    }
}
