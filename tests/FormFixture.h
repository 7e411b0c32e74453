#pragma once

#include "common/DataFile.h"
#include "common/IniFile.h"
#include "common/Language.h"
#include "common/OuvrirTexte.h"
#include "common/Paths.h"
#include "engine/Placeholders.h"
#include "engine/Settings.h"

#include <QApplication>
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

// The visible top-level windows of a kind.
template<typename T>
QList<T*> visibleWindows()
{
    QList<T*> out;
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (auto* f = qobject_cast<T*>(w); f && f->isVisible()) {
            out.append(f);
        }
    }
    return out;
}

// Where each form test starts (reset() in init()): a temporary home, so that no test touches the real one; settings
// in English, a few of them not the defaults; no message service; the real clock; message boxes recorded and answered
// with `answer`; addresses recorded instead of opened, and said opened while `browser` is true.
class FormFixture
{
public:
    static constexpr std::pair<const char*, const char*> NonDefaut[]
        = {{"DelaiAttente", "750"}, {"NbMessageMaxHistorique", "9"}, {"IntervalleCaptureMessage", "150"}};

    ~FormFixture()
    {
        setMessageBoxPresenter({});
        setOuvreurUrl({});
    }

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
        // Not the defaults, in the file a window reloads, so that a constant in place of a setting fails.
        IniFile(gFichierParametres()).update([](IniDocument& d) {
            for (const auto& [cle, valeur] : NonDefaut) {
                d.setValue(SectionGeneral, cle, valeur);
            }
        });
        gParametres() = Parametres {};
        gChargerParametres();
        gParametres().fichierLangue = langFile("ENG");
        setHorlogeEssai({});
        boxes.clear();
        answer = reponse;
        setMessageBoxPresenter([this](const QString& text, int style, const QString&) {
            boxes.append({text, style});
            return answer;
        });
        opened.clear();
        browser = true;
        setOuvreurUrl([this](const QUrl& url) {
            opened.append(url);
            return browser;
        });
    }

    QString path(const QString& name) const { return m_home->filePath(name); }
    // The boxes shown since the last call.
    QList<QPair<QString, int>> takeBoxes() { return std::exchange(boxes, {}); }

    QList<QPair<QString, int>> boxes; // text and style of each box shown
    int answer = MsgResult::Ok;
    QList<QUrl> opened;
    bool browser = true;

private:
    std::unique_ptr<QTemporaryDir> m_home;
};

} // namespace pv::test
