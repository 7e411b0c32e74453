#include "common/MessageBoxes.h"

#include "common/Language.h"

#include <QApplication>
#include <QCoreApplication>
#include <QList>
#include <QMessageBox>
#include <QPushButton>
#include <QThread>

#include <utility>

namespace pv {

namespace {

using Button = std::pair<QMessageBox::StandardButton, int>;

// The buttons of a style, in the order the default-button flags count them.
QList<Button> buttonsOf(int style)
{
    switch (style & MsgStyle::ButtonsMask) {
    case MsgStyle::OkCancel:
        return {{QMessageBox::Ok, MsgResult::Ok}, {QMessageBox::Cancel, MsgResult::Cancel}};
    case MsgStyle::AbortRetryIgnore:
        return {{QMessageBox::Abort, MsgResult::Abort},
                {QMessageBox::Retry, MsgResult::Retry},
                {QMessageBox::Ignore, MsgResult::Ignore}};
    case MsgStyle::YesNoCancel:
        return {{QMessageBox::Yes, MsgResult::Yes},
                {QMessageBox::No, MsgResult::No},
                {QMessageBox::Cancel, MsgResult::Cancel}};
    case MsgStyle::YesNo:
        return {{QMessageBox::Yes, MsgResult::Yes}, {QMessageBox::No, MsgResult::No}};
    case MsgStyle::RetryCancel:
        return {{QMessageBox::Retry, MsgResult::Retry}, {QMessageBox::Cancel, MsgResult::Cancel}};
    default:
        return {{QMessageBox::Ok, MsgResult::Ok}};
    }
}

QMessageBox::Icon iconOf(int style)
{
    switch (style & MsgStyle::IconMask) {
    case MsgStyle::Critical:
        return QMessageBox::Critical;
    case MsgStyle::Question:
        return QMessageBox::Question;
    case MsgStyle::Exclamation:
        return QMessageBox::Warning;
    case MsgStyle::Information:
        return QMessageBox::Information;
    default:
        return QMessageBox::NoIcon;
    }
}

int defaultButtonIndex(int style)
{
    switch (style & MsgStyle::DefaultButtonMask) {
    case MsgStyle::DefaultButton2:
        return 1;
    case MsgStyle::DefaultButton3:
        return 2;
    default:
        return 0;
    }
}

int showQMessageBox(const QString& text, int style, const QString& title)
{
    QMessageBox box(QApplication::activeWindow());
    box.setWindowTitle(title);
    box.setIcon(iconOf(style));
    box.setTextFormat(Qt::PlainText); // texts may quote other people's messages
    // "$CN$" ends what a box shows.
    box.setText(text.left(text.indexOf(QChar(0))));

    const QList<Button> buttons = buttonsOf(style);
    QList<QAbstractButton*> added;
    for (const auto& [standard, result] : buttons) {
        added.append(box.addButton(standard));
    }
    box.setDefaultButton(qobject_cast<QPushButton*>(added.value(defaultButtonIndex(style), added.first())));

    // Escape answers Cancel, or No when there is no Cancel.
    for (const auto preferred : {QMessageBox::Cancel, QMessageBox::No, QMessageBox::Ok}) {
        if (QAbstractButton* b = box.button(preferred)) {
            box.setEscapeButton(b);
            break;
        }
    }

    box.exec();
    const QMessageBox::StandardButton clicked = box.standardButton(box.clickedButton());
    for (const auto& [standard, result] : buttons) {
        if (standard == clicked) {
            return result;
        }
    }
    // Closed without any button (the application quitting under it): take the first one.
    return buttons.first().second;
}

} // namespace

void installMessageBoxes()
{
    setMessageBoxPresenter([](const QString& text, int style, const QString& title) {
        // Widgets live on the window thread: a box asked for by a send running elsewhere is shown there, and the
        // asking thread waits for the answer.
        QCoreApplication* app = QCoreApplication::instance();
        if (!app || QThread::currentThread() == app->thread()) {
            return showQMessageBox(text, style, title);
        }
        int result = MsgResult::Ok;
        QMetaObject::invokeMethod(
            app, [&] { result = showQMessageBox(text, style, title); }, Qt::BlockingQueuedConnection);
        return result;
    });
}

} // namespace pv
