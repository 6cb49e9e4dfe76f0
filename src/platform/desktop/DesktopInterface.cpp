#include "platform/desktop/DesktopInterface.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDialog>
#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QUrl>

#include "common/Text.h"
#include "platform/desktop/Binder.h"
#include "platform/desktop/Forms.h"
#include "platform/desktop/ProgressWindow.h"
#include "platform/net/RunLoop.h"
#include "platform/ui/VDSSLChooserWindowController.h"

namespace {

QMessageBox::Icon iconOf(const Alert &alert) {
    if (alert.buttons.size() > 1)
        return QMessageBox::Question;
    return alert.title == localizedText("Common_Error_Title") ? QMessageBox::Warning
                                                              : QMessageBox::Information;
}

// The window that is in use, so that a question about it lies above it; null for none.
QWidget *windowInUse() {
    QWidget *const modal = QApplication::activeModalWidget();
    return modal ? modal : QApplication::activeWindow();
}

}  // namespace

// Not exec(): that ends with the program's event loop, and a message is to be read before.
void DesktopInterface::run(QDialog &dialog, Kind kind) {
    if (isClosing)
        return;
    opened.append({&dialog, kind});
    dialog.show();
    dialog.raise();
    dialog.activateWindow();
    RunLoop::current()->runUntil([&dialog] { return !dialog.isVisible(); });
    opened.removeIf([&dialog](const Open &each) { return each.dialog == &dialog; });
}

int DesktopInterface::runAlert(const Alert &alert) {
    const bool isOfVolume = !alert.volume.isNull();
    QMessageBox box(isOfVolume ? nullptr : windowInUse());
    box.setTextFormat(Qt::PlainText);
    box.setWindowTitle(alert.title.isEmpty() ? localizedText("Common_Title") : alert.title);
    box.setText(alert.text);
    box.setInformativeText(alert.informativeText);
    box.setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    box.setIcon(iconOf(alert));
    for (const QString &title : alert.buttons)
        box.addButton(title, QMessageBox::ActionRole);
    if (alert.buttons.isEmpty())
        box.addButton(localizedText("Common_Button_OK"), QMessageBox::ActionRole);
    auto *const first = qobject_cast<QPushButton *>(box.buttons().first());
    box.setDefaultButton(first);
    box.setEscapeButton(first);
    // Whoever works with the other windows isn't kept from it by what a volume has to tell.
    box.setWindowModality(isOfVolume ? Qt::NonModal : Qt::ApplicationModal);
    const bool isQuestion = alert.buttons.size() > 1;
    run(box, isQuestion ? Kind::Question : Kind::Message);
    const qsizetype chosen = box.buttons().indexOf(box.clickedButton());
    if (chosen < 0 && isClosing && !isQuestion && unread)
        unread(alert);
    return int(qMax<qsizetype>(chosen, 0));
}

bool DesktopInterface::runLogin(LoginQuestion &question) {
    const std::unique_ptr<QWidget> form = makeForm(QStringLiteral("VDLoginWindow"));
    auto &dialog = dynamic_cast<QDialog &>(*form);
    auto *const username = dialog.findChild<QLineEdit *>(QStringLiteral("txtUsername"));
    auto *const password = dialog.findChild<QLineEdit *>(QStringLiteral("txtPassword"));
    if (!question.title.isEmpty())
        dialog.setWindowTitle(question.title);
    auto *const request = dialog.findChild<QLabel *>(QStringLiteral("lblQuestion"));
    request->setTextFormat(Qt::PlainText);
    if (!question.server.isEmpty())
        request->setText(localizedText("VDLoginWindow_server", question.server));
    if (question.isPassphrase) {
        request->setText(question.title);
        dialog.findChild<QLabel *>(QStringLiteral("lblUsername"))->hide();
        username->hide();
    }
    username->setText(question.username);
    password->setText(question.password);
    (question.username.isEmpty() && !question.isPassphrase ? username : password)->setFocus();
    QObject::connect(dialog.findChild<QPushButton *>(QStringLiteral("btnOK")),
                     &QPushButton::clicked, &dialog, &QDialog::accept);
    QObject::connect(dialog.findChild<QPushButton *>(QStringLiteral("btnCancel")),
                     &QPushButton::clicked, &dialog, &QDialog::reject);
    dialog.setWindowModality(Qt::ApplicationModal);
    run(dialog, Kind::Question);
    if (dialog.result() != QDialog::Accepted)
        return false;
    question.username = username->text();
    question.password = password->text();
    return true;
}

int DesktopInterface::runChooser(VDSSLChooserWindowController &chooser) {
    if (isClosing)
        return VDSSLChooserWindowController::kCancel;
    const std::unique_ptr<QWidget> form = makeForm(chooser.window.name);
    auto &dialog = dynamic_cast<QDialog &>(*form);
    Binder binder(dialog);
    binder.bind(QStringLiteral("tableSelectCert"), chooser.tableSelectCert);
    binder.bind(QStringLiteral("btnOK"), chooser.btnOK);
    binder.bind(QStringLiteral("btnCancel"), chooser.btnCancel);
    binder.bindWindow(chooser.window);
    dialog.findChild<QTreeWidget *>(QStringLiteral("tableSelectCert"))->resizeColumnToContents(0);
    opened.append({&dialog, Kind::Question});
    const int code = chooser.window.runModal();
    opened.removeIf([&dialog](const Open &each) { return each.dialog == &dialog; });
    return code;
}

void DesktopInterface::openFolder(const QString &path) {
    QDesktopServices::openUrl(QUrl::fromLocalFile(path));
}

QString DesktopInterface::runSavePanel(const SavePanel &panel) {
    QFileDialog dialog(windowInUse(), panel.title, panel.folder);
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.selectFile(panel.proposedName);
    dialog.setWindowModality(Qt::ApplicationModal);
    run(dialog, Kind::Question);
    return dialog.result() == QDialog::Accepted ? dialog.selectedFiles().value(0) : QString();
}

std::unique_ptr<ProgressPanel> DesktopInterface::makeProgressPanel(const QString &windowName) {
    return std::make_unique<ProgressWindow>(windowName);
}

void DesktopInterface::cancelQuestions() {
    for (const Open &each : QList(opened)) {
        if (each.kind == Kind::Question)
            each.dialog->reject();
    }
}

void DesktopInterface::closeAll() {
    isClosing = true;
    for (const Open &each : QList(opened))
        each.dialog->reject();
}
