#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QTest>
#include <QTimer>
#include <QTreeWidget>

#include "common/Text.h"
#include "platform/desktop/DesktopInterface.h"
#include "platform/ui/VDSSLChooserWindowController.h"
#include "platform/ui/VDSSLTableData.h"

namespace {

// Does something to the window that comes next.
template <typename Dialog = QDialog>
void whenShown(const std::function<void(Dialog &)> &act) {
    QTimer::singleShot(0, qApp, [act] {
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            auto *const dialog = qobject_cast<Dialog *>(widget);
            if (dialog && dialog->isVisible())
                return act(*dialog);
        }
        whenShown(act);
    });
}

template <typename Widget>
Widget &child(const QDialog &dialog, const char *name) {
    return *dialog.findChild<Widget *>(QLatin1String(name));
}

struct DesktopInterfaceTest : testing::Test {
    DesktopInterface interface;
    const Alert question{.title = QStringLiteral("Title"),
                         .text = QStringLiteral("<b>text</b>"),
                         .informativeText = {},
                         .buttons = {QStringLiteral("No"), QStringLiteral("Yes")}};
    const Alert message{.title = {},
                        .text = QStringLiteral("a message"),
                        .informativeText = {},
                        .buttons = {QStringLiteral("OK")},
                        .volume = QStringLiteral("Office")};

    DesktopInterfaceTest() { installTexts(QLocale(QLocale::English)); }
};

TEST_F(DesktopInterfaceTest, AnAlertIsAnsweredByItsButtonsAndCancelledIsTheFirst) {
    whenShown<QMessageBox>([](QMessageBox &box) {
        EXPECT_EQ(box.textFormat(), Qt::PlainText);
        EXPECT_TRUE(box.isModal());
        box.buttons().at(1)->click();
    });
    EXPECT_EQ(interface.runAlert(question), 1);
    for (const Qt::Key key : {Qt::Key_Escape, Qt::Key_Return}) {
        whenShown<QMessageBox>([key](QMessageBox &box) { QTest::keyClick(&box, key); });
        EXPECT_EQ(interface.runAlert(question), 0);
    }
}

TEST_F(DesktopInterfaceTest, QuestionsAreCancelledAndMessagesStayUntilNobodyIsThere) {
    QStringList unread;
    interface.unread = [&](const Alert &alert) { unread += alert.text; };
    whenShown<QMessageBox>([&](QMessageBox &box) {
        EXPECT_FALSE(box.isModal());
        whenShown<QMessageBox>([&](QMessageBox &) {
            interface.cancelQuestions();
            EXPECT_TRUE(box.isVisible());
            interface.closeAll();
            EXPECT_FALSE(box.isVisible());
        });
        EXPECT_EQ(interface.runAlert(question), 0);
    });
    EXPECT_EQ(interface.runAlert(message), 0);
    EXPECT_EQ(unread, QStringList(message.text));
    // From now on nothing waits for an answer.
    LoginQuestion login;
    EXPECT_FALSE(interface.runLogin(login));
    EXPECT_EQ(interface.runAlert(message), 0);
    EXPECT_EQ(unread.size(), 2);
}

TEST_F(DesktopInterfaceTest, TheLoginFormIsFilledAndGivesWhatWasTyped) {
    LoginQuestion login{.title = {},
                        .username = QStringLiteral("anna"),
                        .password = {},
                        .server = QStringLiteral("dav.example.com")};
    whenShown<QDialog>([](QDialog &dialog) {
        EXPECT_TRUE(child<QLabel>(dialog, "lblQuestion").text().contains("dav.example.com"));
        EXPECT_EQ(child<QLineEdit>(dialog, "txtUsername").text(), QStringLiteral("anna"));
        EXPECT_EQ(dialog.focusWidget(), &child<QLineEdit>(dialog, "txtPassword"));
        QTest::keyClicks(&child<QLineEdit>(dialog, "txtPassword"), QStringLiteral("pass"));
        QTest::keyClick(&dialog, Qt::Key_Return);
    });
    EXPECT_TRUE(interface.runLogin(login));
    EXPECT_EQ(login.password, QStringLiteral("pass"));
    login = {.title = QStringLiteral("Passphrase of x"),
             .username = {},
             .password = {},
             .isPassphrase = true};
    whenShown<QDialog>([](QDialog &dialog) {
        EXPECT_EQ(dialog.windowTitle(), QStringLiteral("Passphrase of x"));
        EXPECT_FALSE(child<QLineEdit>(dialog, "txtUsername").isVisible());
        QTest::keyClick(&dialog, Qt::Key_Escape);
    });
    EXPECT_FALSE(interface.runLogin(login));
}

TEST_F(DesktopInterfaceTest, TheChooserGivesTheRowThatWasChosen) {
    VDSSLTableData data;
    data.certLavels = QStringList{QStringLiteral("anna"), QStringLiteral("berta")};
    data.certIssurs = QStringList{QStringLiteral("A"), QStringLiteral("B")};
    VDSSLChooserWindowController chooser(data);
    whenShown<QDialog>([](QDialog &dialog) {
        auto &tree = child<QTreeWidget>(dialog, "tableSelectCert");
        EXPECT_EQ(tree.topLevelItem(1)->text(1), QStringLiteral("B"));
        tree.setCurrentItem(tree.topLevelItem(1));
        QCoreApplication::processEvents();
        child<QAbstractButton>(dialog, "btnOK").click();
    });
    EXPECT_EQ(interface.runChooser(chooser), VDSSLChooserWindowController::kOK);
    EXPECT_EQ(chooser.tableSelectCert.selectedRow(), 1);
}

TEST_F(DesktopInterfaceTest, AProgressPanelTakesNoKeyboardAndNoMoreRoomForALongName) {
    const auto panel = interface.makeProgressPanel(QStringLiteral("VDProgressBarWindow_0"));
    panel->setFileName(QString(300, QLatin1Char('x')) + QStringLiteral("<b>.txt"));
    panel->setValue(41.7);
    panel->setCountText(QStringLiteral("(41% sending)"));
    panel->show();
    QWidget *window = nullptr;
    for (QWidget *widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible())
            window = widget;
    }
    ASSERT_TRUE(window);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
    EXPECT_TRUE(window->windowFlags() & Qt::WindowDoesNotAcceptFocus);
    EXPECT_TRUE(window->windowFlags() & Qt::WindowStaysOnTopHint);
    EXPECT_LT(window->width(), 80 * window->fontMetrics().averageCharWidth());
    panel->close();
    EXPECT_FALSE(window->isVisible());
}

}  // namespace
