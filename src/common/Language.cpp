#include "common/Language.h"

#include "common/IniFile.h"
#include "common/Parametres.h"
#include "common/TexteSaisi.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <cstdio>
#include <memory>

namespace pv {

namespace {

MessageBoxPresenter& presenter()
{
    static MessageBoxPresenter installed;
    return installed;
}

// Nobody can answer a box without a display: take the answer that changes nothing.
int safeResult(int style)
{
    switch (style & MsgStyle::ButtonsMask) {
    case MsgStyle::OkCancel:
    case MsgStyle::YesNoCancel:
    case MsgStyle::RetryCancel:
        return MsgResult::Cancel;
    case MsgStyle::YesNo:
        return MsgResult::No;
    case MsgStyle::AbortRetryIgnore:
        return MsgResult::Abort;
    default:
        return MsgResult::Ok;
    }
}

int writeToStderr(const QString& text, int style, const QString& title)
{
    const QString shown = gEnLF(text.left(text.indexOf(QChar(0))));
    std::fprintf(stderr, "%s: %s\n", title.toLocal8Bit().constData(), shown.toLocal8Bit().constData());
    return safeResult(style);
}

} // namespace

bool gFichierLangueExiste(const QString& file)
{
    return !file.isEmpty() && QFileInfo(file).isFile();
}

void setMessageBoxPresenter(MessageBoxPresenter p)
{
    presenter() = std::move(p);
}

int showMessageBox(const QString& text, int style, const QString& title)
{
    if (const auto& p = presenter()) {
        return p(text, style, title);
    }
    return writeToStderr(text, style, title);
}

QVariant gMessage(const QString& file, const QString& key, int style, const QStringList& fields)
{
    if (!gFichierLangueExiste(file)) {
        // In French whatever the language: there is no file to take the text from.
        showMessageBox(QStringLiteral("Le fichier des messages (") + file + QStringLiteral(") est inexistant."),
                       MsgStyle::Exclamation);
        if (style == MsgStyle::ReturnText) {
            return QString();
        }
        return int(MsgResult::NoFile);
    }

    // Blanks around a text are the file's layout, not the text.
    QString text = IniFile(file).readString(QStringLiteral("Message"), key).trimmed();
    if (text.isEmpty()) {
        // Some callers pass a whole English sentence as the key and rely on it being shown as it stands.
        text = key;
    }

    // The search resumes one character after the code just filled, not after the inserted value, so a value
    // that holds "$C$" from its second character on takes the next field.
    static const QString fieldCode = QStringLiteral("$C$");
    qsizetype start = 0;
    for (const QString& field : fields) {
        const qsizetype found = text.indexOf(fieldCode, start, Qt::CaseSensitive);
        if (found < 0) {
            break;
        }
        text.replace(found, fieldCode.size(), field);
        start = found + 1;
    }
    text.replace(QStringLiteral("$SL$"), QStringLiteral("\r\n"), Qt::CaseInsensitive);
    text.replace(QStringLiteral("$CN$"), QString(QChar(0)), Qt::CaseInsensitive);
    // "$SS$" is recognised by the file format but makes no sound and stays in the text.

    if (style == MsgStyle::Question) {
        style = MsgStyle::Question | MsgStyle::YesNo;
    }
    if (style == MsgStyle::ReturnText) {
        return text;
    }
    return showMessageBox(text, style);
}

QString gMessageTexte(const QString& file, const QString& key, const QStringList& fields)
{
    return gMessage(file, key, MsgStyle::ReturnText, fields).toString();
}

QString gTexteMessage(const QString& key, const QStringList& fields)
{
    return gMessageTexte(gParametres().fichierLangue, key, fields);
}

int gMessageBox(const QString& file, const QString& key, int style, const QStringList& fields)
{
    return gMessage(file, key, style, fields).toInt();
}

std::optional<QList<Libelle>> gLireLibelles(const QString& file, const QString& formName)
{
    const QStringList lines = IniFile(file).readSection(formName);
    if (lines.isEmpty()) {
        return std::nullopt;
    }
    QList<Libelle> libelles;
    libelles.reserve(lines.size());
    for (const QString& line : lines) {
        const qsizetype first = line.indexOf(QLatin1Char('='));
        if (first < 0) {
            libelles.append({line.trimmed(), QString()});
            continue;
        }
        const qsizetype second = line.indexOf(QLatin1Char('='), first + 1);
        const qsizetype length = second < 0 ? -1 : second - first - 1;
        libelles.append({line.left(first).trimmed(), line.mid(first + 1, length).trimmed()});
    }
    return libelles;
}

bool gChargerTraductionsQt(const QString& file)
{
    static QTranslator* installe = nullptr;
    if (installe) {
        QCoreApplication::removeTranslator(installe);
        delete installe;
        installe = nullptr;
    }
    const QString suffixe = QFileInfo(file).suffix().toLower();
    const QLocale::Language langue = QLocale::codeToLanguage(suffixe);
    if (langue == QLocale::AnyLanguage || langue == QLocale::C || langue == QLocale::English) {
        return false;
    }
    auto traducteur = std::make_unique<QTranslator>();
    if (!traducteur->load(QLocale(langue),
                          QStringLiteral("qtbase"),
                          QStringLiteral("_"),
                          QLibraryInfo::path(QLibraryInfo::TranslationsPath))
        || !QCoreApplication::installTranslator(traducteur.get())) {
        return false;
    }
    installe = traducteur.release();
    return true;
}

} // namespace pv
