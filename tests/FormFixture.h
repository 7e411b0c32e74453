#pragma once

#include "common/DataFile.h"
#include "common/Language.h"
#include "common/Paths.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QList>
#include <QPair>
#include <QTemporaryDir>

#include <memory>
#include <utility>

namespace pv::test {

inline QString langFile(const char* code)
{
    return QStringLiteral(PV_SOURCE_DIR "/lang/pv.") + QLatin1String(code);
}

// Where each form test starts (reset() in init()): a temporary home, so that no test touches the real one; default
// settings in English; no message service; the real clock; message boxes recorded and answered with `answer`.
class FormFixture
{
public:
    void reset(int reponse = MsgResult::Ok)
    {
        m_home = std::make_unique<QTemporaryDir>();
        qputenv("HOME", m_home->path().toUtf8());
        for (const char* v : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"}) {
            qunsetenv(v);
        }
        qputenv("PILVANOR_MESSENGER", "off");
        gDefinirDossierProgramme(QStringLiteral(PV_SOURCE_DIR "/lang"));
        gDefinirFichierParametres(gCheminFichierParametres());
        gDefinirFichierDonnees(gCheminFichierDonneesParDefaut());
        gParametres() = Parametres {};
        gParametres().fichierLangue = langFile("ENG");
        setHorlogeEssai({});
        boxes.clear();
        answer = reponse;
        setMessageBoxPresenter([this](const QString& text, int style, const QString&) {
            boxes.append({text, style});
            return answer;
        });
    }

    QString path(const QString& name) const { return m_home->filePath(name); }
    // The boxes shown since the last call.
    QList<QPair<QString, int>> takeBoxes() { return std::exchange(boxes, {}); }

    QList<QPair<QString, int>> boxes; // text and style of each box shown
    int answer = MsgResult::Ok;

private:
    std::unique_ptr<QTemporaryDir> m_home;
};

} // namespace pv::test
