#include "common/Paths.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace pv;

// Where the language files and the help are looked for, from the executable's folder: a build tree, an install
// under some prefix (or DESTDIR), or neither.
TEST(Paths, ProgramFolderIsTheExecutablesThenTheSharedFolderBesideIt)
{
    struct Case
    {
        const char* name;
        QStringList files;    // under the temporary root
        const char* expected; // relative to the root; empty for the configured install folder
    };
    const Case cases[] = {
        {"build tree", {"bin/pv.ENG", "share/pilvanor/pv.ENG"}, "bin"},
        {"installed", {"bin/pilvanor", "share/pilvanor/pv.ENG", "share/pilvanor/help/index.html"}, "share/pilvanor"},
        {"shared folder without language file", {"bin/pilvanor", "share/pilvanor/help/index.html"}, ""},
        {"nothing", {"bin/pilvanor"}, ""},
    };
    for (const Case& c : cases) {
        QTemporaryDir root;
        for (const QString& file : c.files) {
            ASSERT_TRUE(QDir(root.path()).mkpath(QFileInfo(root.filePath(file)).path()));
            QFile f(root.filePath(file));
            ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        }
        const QString expected = *c.expected ? root.filePath(QLatin1String(c.expected)) : QStringLiteral(PV_DATADIR);
        EXPECT_EQ(gDossierProgrammePour(root.filePath("bin")), expected) << c.name;
    }
    EXPECT_EQ(gDossierProgrammePour(QString()), QStringLiteral(PV_DATADIR));
}
