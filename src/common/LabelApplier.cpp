#include "common/LabelApplier.h"

#include "common/ErrorReport.h"
#include "common/Language.h"

#include <QAbstractButton>
#include <QAbstractItemModel>
#include <QAction>
#include <QDialog>
#include <QFileInfo>
#include <QGroupBox>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSet>
#include <QTabBar>
#include <QTabWidget>
#include <QTableView>
#include <QToolBar>
#include <QTreeView>
#include <QWidget>

#include <optional>
#include <utility>

namespace pv {

namespace {

const QString ErrorPlace = QStringLiteral("modPilvanor.gAfficherLibelle");
const QString TitleKey = QStringLiteral("TITRE");
const char* const IndexProperty = "index";
const char* const NoLabelProperty = "sansLibelle";

// Numbers of the reports, so that the three faults can be told apart.
enum LabelError : int {
    MissingPart = 9,
    NoCaption = 438,
    UnknownControl = 730,
};

// How a value is put on a control, named after the kinds of control the language files were written for.
enum class Kind {
    TabStrip,      // tab texts
    ListView,      // column header texts
    Toolbar,       // tool tips of the buttons, separators skipped
    CommandButton, // caption, then tool tip when a third part follows
    Caption,       // the whole value as text or title
    None,          // takes no label
};

Kind kindOf(const QObject* o)
{
    if (qobject_cast<const QTabWidget*>(o) || qobject_cast<const QTabBar*>(o)) {
        return Kind::TabStrip;
    }
    if (qobject_cast<const QTreeView*>(o) || qobject_cast<const QTableView*>(o)) {
        return Kind::ListView;
    }
    if (qobject_cast<const QToolBar*>(o)) {
        return Kind::Toolbar;
    }
    if (qobject_cast<const QPushButton*>(o)) {
        return Kind::CommandButton;
    }
    if (qobject_cast<const QAction*>(o) || qobject_cast<const QMenu*>(o) || qobject_cast<const QGroupBox*>(o)
        || qobject_cast<const QLabel*>(o) || qobject_cast<const QAbstractButton*>(o)) {
        return Kind::Caption;
    }
    return Kind::None;
}

struct Failure
{
    int number;
    QString description;
};

// An empty value has no parts at all, so a button or a tab strip given nothing is reported, not blanked.
QStringList partsOf(const QString& value)
{
    return value.isEmpty() ? QStringList() : value.split(QLatin1Char(','));
}

QList<QAction*> toolbarButtons(const QToolBar* bar)
{
    QList<QAction*> buttons;
    for (QAction* a : bar->actions()) {
        if (!a->isSeparator()) {
            buttons.append(a);
        }
    }
    return buttons;
}

QAbstractItemModel* headerModel(QObject* view)
{
    auto* v = qobject_cast<QAbstractItemView*>(view);
    return v ? v->model() : nullptr;
}

// How many parts the value must give, and what they are called in a report.
std::pair<qsizetype, const char*> partsNeeded(QObject* o, Kind kind)
{
    switch (kind) {
    case Kind::TabStrip:
        if (auto* w = qobject_cast<QTabWidget*>(o)) {
            return {w->count(), "tabs"};
        }
        return {qobject_cast<QTabBar*>(o)->count(), "tabs"};
    case Kind::ListView: {
        const QAbstractItemModel* model = headerModel(o);
        return {model ? model->columnCount() : 0, "columns"};
    }
    case Kind::Toolbar:
        return {toolbarButtons(qobject_cast<QToolBar*>(o)).size(), "buttons"};
    case Kind::CommandButton:
    case Kind::Caption:
    case Kind::None:
        break;
    }
    return {0, ""};
}

std::optional<Failure> checkValue(QObject* o, Kind kind, const QString& key, const QString& value)
{
    if (kind == Kind::None) {
        return Failure {NoCaption,
                        QStringLiteral("Control '%1' (%2) takes no label")
                            .arg(key, QString::fromLatin1(o->metaObject()->className()))};
    }
    const qsizetype given = partsOf(value).size();
    if (kind == Kind::CommandButton && given == 0) {
        return Failure {MissingPart, QStringLiteral("Control '%1' is given no caption").arg(key)};
    }
    const auto [needed, what] = partsNeeded(o, kind);
    if (given < needed) {
        return Failure {MissingPart,
                        QStringLiteral("Control '%1' has %2 %3 but its label gives only %4 part(s) separated by \",\"")
                            .arg(key)
                            .arg(needed)
                            .arg(QString::fromLatin1(what))
                            .arg(given)};
    }
    return std::nullopt;
}

// Call only once checkValue() has passed.
void applyValue(QObject* o, Kind kind, const QString& value)
{
    const QStringList parts = partsOf(value);
    switch (kind) {
    case Kind::TabStrip:
        if (auto* w = qobject_cast<QTabWidget*>(o)) {
            for (int i = 0; i < w->count(); ++i) {
                w->setTabText(i, parts[i]);
            }
        } else if (auto* bar = qobject_cast<QTabBar*>(o)) {
            for (int i = 0; i < bar->count(); ++i) {
                bar->setTabText(i, parts[i]);
            }
        }
        break;
    case Kind::ListView:
        if (QAbstractItemModel* model = headerModel(o)) {
            for (int i = 0; i < model->columnCount(); ++i) {
                model->setHeaderData(i, Qt::Horizontal, parts[i]);
            }
        }
        break;
    case Kind::Toolbar: {
        qsizetype next = 0;
        for (QAction* button : toolbarButtons(qobject_cast<QToolBar*>(o))) {
            button->setToolTip(parts[next++]);
        }
        break;
    }
    case Kind::CommandButton: {
        auto* button = qobject_cast<QPushButton*>(o);
        button->setText(parts[0]);
        // The tool tip needs a third, unused part: existing language files are written that way.
        if (parts.size() >= 3) {
            button->setToolTip(parts[1]);
        }
        break;
    }
    case Kind::Caption:
        if (auto* action = qobject_cast<QAction*>(o)) {
            action->setText(value);
        } else if (auto* menu = qobject_cast<QMenu*>(o)) {
            menu->setTitle(value);
        } else if (auto* box = qobject_cast<QGroupBox*>(o)) {
            box->setTitle(value);
        } else if (auto* label = qobject_cast<QLabel*>(o)) {
            label->setText(value);
        } else if (auto* button = qobject_cast<QAbstractButton*>(o)) {
            button->setText(value);
        }
        break;
    case Kind::None:
        break;
    }
}

bool isTitle(const QString& key)
{
    return key.compare(TitleKey, Qt::CaseInsensitive) == 0;
}

// The key that labels a control: its name, with its index when it is a member of a control array.
QString keyOf(const QObject* o)
{
    const QVariant index = o->property(IndexProperty);
    if (index.isValid()) {
        return o->objectName() + QLatin1Char('(') + QString::number(index.toInt()) + QLatin1Char(')');
    }
    return o->objectName();
}

// The controls of a form, found by key as the language files name them: ignoring case, and a member of a control
// array only with its index.
class Controls
{
public:
    explicit Controls(const QWidget* form)
        : m_all(form->findChildren<QObject*>())
    {
    }

    const QList<QObject*>& all() const { return m_all; }

    QObject* find(const QString& key, std::optional<Failure>& failure) const
    {
        QString name = key;
        std::optional<int> index;
        const qsizetype open = key.indexOf(QLatin1Char('('));
        if (open >= 0) {
            const qsizetype close = key.indexOf(QLatin1Char(')'), open + 1);
            bool ok = false;
            index = key.mid(open + 1, close < 0 ? -1 : close - open - 1).trimmed().toInt(&ok);
            name = key.left(open).trimmed();
            if (close < 0 || !ok) {
                failure = Failure {UnknownControl, QStringLiteral("'%1' is not a control name with an index").arg(key)};
                return nullptr;
            }
        }
        for (QObject* o : m_all) {
            if (o->objectName().compare(name, Qt::CaseInsensitive) != 0) {
                continue;
            }
            const QVariant member = o->property(IndexProperty);
            if (index ? (member.isValid() && member.toInt() == *index) : !member.isValid()) {
                return o;
            }
        }
        failure = Failure {UnknownControl, QStringLiteral("Control '%1' not found").arg(key)};
        return nullptr;
    }

private:
    QList<QObject*> m_all;
};

// Resolves a key and checks its value; the control when the value can be applied.
QObject* controlFor(const Controls& controls, const Libelle& libelle, std::optional<Failure>& failure)
{
    QObject* o = controls.find(libelle.key, failure);
    if (!o) {
        return nullptr;
    }
    failure = checkValue(o, kindOf(o), libelle.key, libelle.value);
    return failure ? nullptr : o;
}

// An action shown only in tool bars is labelled by the tool bar's key.
bool inToolbarsOnly(const QAction* action)
{
    bool inToolbar = false;
    for (const QObject* shown : action->associatedObjects()) {
        if (qobject_cast<const QMenu*>(shown)) {
            return false;
        }
        inToolbar = inToolbar || qobject_cast<const QToolBar*>(shown);
    }
    return inToolbar;
}

// Parts that Qt builds inside its own widgets (the scroll buttons of a tab bar, ...), and the controls of a dialog
// owned by the form, which has its own section.
bool isInternal(const QObject* o, const QWidget* form)
{
    if (o->objectName().startsWith(QLatin1String("qt_"))) {
        return true;
    }
    for (const QObject* p = o->parent(); p && p != form; p = p->parent()) {
        if (qobject_cast<const QTabBar*>(p) || qobject_cast<const QDialog*>(p)) {
            return true;
        }
    }
    return false;
}

bool needsLabel(const QObject* o, const QWidget* form)
{
    if (o->objectName().isEmpty() || isInternal(o, form) || o->property(NoLabelProperty).toBool()
        || kindOf(o) == Kind::None) {
        return false;
    }
    if (const auto* action = qobject_cast<const QAction*>(o)) {
        return !action->isSeparator() && !inToolbarsOnly(action);
    }
    return true;
}

QString missingFileText(const QString& file)
{
    return QStringLiteral("Le fichier des libellés (") + file + QStringLiteral(") est inexistant.");
}

QString missingSectionText(const QString& file, const QString& formName)
{
    return QStringLiteral("La fenêtre '") + formName
           + QStringLiteral(
               "' est inexistante ou il n'y a aucun libellé de spécifié pour cette fenêtre dans le fichier ")
           + file + QStringLiteral(".");
}

} // namespace

bool gAfficherLibelle(const QString& file, QWidget* form)
{
    if (!form) {
        return false;
    }
    // Both texts are French whatever the language: there is no file to take them from.
    if (!gFichierLangueExiste(file)) {
        showMessageBox(missingFileText(file), MsgStyle::Exclamation);
        return false;
    }
    const auto libelles = gLireLibelles(file, form->objectName());
    if (!libelles) {
        showMessageBox(missingSectionText(file, form->objectName()), MsgStyle::Exclamation);
        return false;
    }

    const Controls controls(form);
    for (const Libelle& libelle : *libelles) {
        if (isTitle(libelle.key)) {
            form->setWindowTitle(libelle.value);
            continue;
        }
        std::optional<Failure> failure;
        QObject* o = controlFor(controls, libelle, failure);
        if (failure) {
            gRapportErreur(ErrorPlace, failure->number, failure->description);
            return false;
        }
        applyValue(o, kindOf(o), libelle.value);
    }
    return true;
}

QStringList gVerifierLibelles(const QString& file, QWidget* form)
{
    if (!form) {
        return {QStringLiteral("No form to check")};
    }
    const QString formName = form->objectName();
    if (!gFichierLangueExiste(file)) {
        return {missingFileText(file)};
    }
    const auto libelles = gLireLibelles(file, formName);
    if (!libelles) {
        return {missingSectionText(file, formName)};
    }

    const QString where = QFileInfo(file).fileName() + QStringLiteral(" [") + formName + QStringLiteral("] ");
    QStringList problems;
    QSet<QString> keys;
    const Controls controls(form);
    for (const Libelle& libelle : *libelles) {
        const QString folded = libelle.key.toCaseFolded();
        if (keys.contains(folded)) {
            problems.append(where + QStringLiteral("key '%1' is given twice").arg(libelle.key));
        }
        keys.insert(folded);
        if (isTitle(libelle.key)) {
            continue;
        }
        std::optional<Failure> failure;
        controlFor(controls, libelle, failure);
        if (failure) {
            problems.append(where + failure->description);
        }
    }

    if (!keys.contains(TitleKey.toCaseFolded())) {
        problems.append(where + QStringLiteral("no %1 for the window title").arg(TitleKey));
    }
    for (const QObject* o : controls.all()) {
        if (needsLabel(o, form) && !keys.contains(keyOf(o).toCaseFolded())) {
            problems.append(where
                            + QStringLiteral("no label for '%1' (%2)")
                                  .arg(keyOf(o), QString::fromLatin1(o->metaObject()->className())));
        }
    }
    return problems;
}

} // namespace pv
