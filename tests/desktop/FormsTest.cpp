// The forms in both languages and at two sizes of text.

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFont>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QRegularExpression>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>

#include "SettingsForm.h"
#include "common/Text.h"
#include "connection/SettingsWindow.h"
#include "connection/VDConnectionInfo.h"
#include "platform/desktop/Forms.h"
#include "support/NoClientIdentity.h"

namespace {

const QStringList kLanguages{QStringLiteral("en"), QStringLiteral("ja")};

QStringList keysOf(const QString &name) {
    QFile file(QStringLiteral(VELMORA_SOURCE_DIR "/src/platform/desktop/%1.ui").arg(name));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    const QString form = QString::fromUtf8(file.readAll());
    static const QRegularExpression pattern(
        QStringLiteral("<string( id=\"([^\"]*)\")?[^>]*>([^<]*)"));
    QStringList keys;
    for (auto match = pattern.globalMatch(form); match.hasNext();) {
        const auto found = match.next();
        // No sentence stands in a form.
        EXPECT_EQ(found.captured(2), found.captured(3)) << qPrintable(name);
        keys += found.captured(2);
    }
    return keys;
}

bool isShown(const QWidget &widget) {
    return widget.isVisible() && widget.window()->isVisible();
}

// What a widget needs for its text, and has.
void expectNotCut(const QWidget &widget) {
    if (!isShown(widget))
        return;
    const QSize needed = widget.minimumSizeHint().expandedTo(
        qobject_cast<const QAbstractButton *>(&widget) ? widget.sizeHint() : QSize());
    EXPECT_GE(widget.width(), needed.width()) << qPrintable(widget.objectName());
    EXPECT_GE(widget.height(), needed.height()) << qPrintable(widget.objectName());
    const auto *const label = qobject_cast<const QLabel *>(&widget);
    if (label && label->wordWrap()) {
        EXPECT_GE(label->height(), label->heightForWidth(label->width()))
            << qPrintable(widget.objectName());
    }
}

void expectNothingCut(QWidget &form) {
    auto *const tabs = form.findChild<QTabWidget *>();
    for (int tab = 0; tab < (tabs ? tabs->count() : 1); ++tab) {
        if (tabs)
            tabs->setCurrentIndex(tab);
        QCoreApplication::processEvents();
        const QList<QWidget *> widgets = form.findChildren<QWidget *>();
        for (const QWidget *widget : widgets) {
            if (qobject_cast<const QLabel *>(widget) ||
                qobject_cast<const QAbstractButton *>(widget) ||
                qobject_cast<const QComboBox *>(widget) || qobject_cast<const QLineEdit *>(widget))
                expectNotCut(*widget);
        }
    }
}

// Mnemonics that two visible widgets share.
QStringList sharedMnemonics(QWidget &form) {
    QMap<QString, QStringList> users;
    const auto add = [&users](const QString &text, const QString &name) {
        const QKeySequence key = QKeySequence::mnemonic(text);
        if (!key.isEmpty())
            users[key.toString()] += name;
    };
    const QList<QWidget *> widgets = form.findChildren<QWidget *>();
    for (const QWidget *widget : widgets) {
        if (!isShown(*widget))
            continue;
        if (const auto *button = qobject_cast<const QAbstractButton *>(widget))
            add(button->text(), button->objectName());
        else if (const auto *label = qobject_cast<const QLabel *>(widget); label && label->buddy())
            add(label->text(), label->objectName());
        else if (const auto *tabs = qobject_cast<const QTabWidget *>(widget))
            for (int i = 0; i < tabs->count(); ++i)
                add(tabs->tabText(i), tabs->widget(i)->objectName());
    }
    QStringList shared;
    for (const QStringList &names : std::as_const(users)) {
        if (names.size() > 1)
            shared += names;
    }
    return shared;
}

struct FormsTest : testing::Test {
    const QFont font = QApplication::font();
    // Before a form is made: a mnemonic comes with its text.
    FormsTest() { installTexts(QLocale(QLocale::English)); }
    ~FormsTest() override {
        QApplication::setFont(font);
        installTexts(QLocale(QLocale::English));
    }
};

TEST_F(FormsTest, EveryTextIsThereInBothLanguages) {
    for (const QString &language : kLanguages) {
        installTexts(QLocale(language));
        for (const QString &name : formNames()) {
            for (const QString &key : keysOf(name))
                EXPECT_NE(localizedText(key.toLatin1().constData()), key) << qPrintable(language);
        }
    }
}

TEST_F(FormsTest, NoTextIsCutAndNoKeyTwiceUsed) {
    for (const QString &language : kLanguages) {
        for (const int scale : {1, 2}) {
            installTexts(QLocale(language));
            QFont scaled = font;
            scaled.setPointSizeF(font.pointSizeF() * scale);
            QApplication::setFont(scaled);
            for (const QString &name : formNames()) {
                SCOPED_TRACE(qPrintable(QStringLiteral("%1 %2 %3").arg(name, language).arg(scale)));
                const auto form = makeForm(name);
                form->show();
                EXPECT_TRUE(QTest::qWaitForWindowExposed(form.get()));
                expectNothingCut(*form);
                EXPECT_EQ(sharedMnemonics(*form), QStringList());
            }
        }
    }
}

// The settings window with one connection in it.
struct SettingsFormTest : FormsTest {
    VDDataSource names;
    QMap<QString, std::shared_ptr<VDConnectionInfo>> records;
    NoClientIdentity identities;
    SettingsWindow settings{{names, records, identities,
                             [](VDConnectionInfo &) { return std::shared_ptr<VDWebDAVConnect>(); },
                             [] {}}};
    QMenu menu;
    SettingsForm form{settings, menu};

    SettingsFormTest() {
        auto record = std::make_shared<VDConnectionInfo>();
        record->connectionName = QStringLiteral("Office");
        record->saveID = record->savePassword = record->chengeMountPoint = true;
        record->isUseProxy = true;
        record->isProxyAuto = false;
        record->isUseProxyAuth = record->isUseCert = true;
        records[record->connectionName] = record;
        names.addName(record->connectionName);
        settings.windowReset();
        settings.window.show();
    }
};

TEST_F(SettingsFormTest, TheTabKeyReachesEveryEnabledControlInEveryTab) {
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&form.widget()));
    auto &tabs = *form.widget().findChild<QTabWidget *>();
    for (int tab = 0; tab < tabs.count(); ++tab) {
        tabs.setCurrentIndex(tab);
        QSet<const QWidget *> missed;
        const QList<QWidget *> widgets = form.widget().findChildren<QWidget *>();
        for (const QWidget *widget : widgets) {
            if (isShown(*widget) && widget->isEnabled() && (widget->focusPolicy() & Qt::TabFocus) &&
                !widget->focusProxy() && !widget->objectName().startsWith(QStringLiteral("qt_")))
                missed.insert(widget);
        }
        const qsizetype count = missed.size();
        EXPECT_GT(count, 8);
        form.widget().activateWindow();
        for (qsizetype i = 0; i < 2 * count && !missed.isEmpty(); ++i) {
            QTest::keyClick(
                QApplication::focusWidget() ? QApplication::focusWidget() : &form.widget(),
                Qt::Key_Tab);
            missed.remove(QApplication::focusWidget());
        }
        for (const QWidget *widget : missed)
            ADD_FAILURE() << qPrintable(widget->objectName());
    }
}

TEST_F(SettingsFormTest, AltCountsWhereItIsNoMnemonic) {
    form.widget().activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&form.widget()));
    auto &submit = *form.widget().findChild<QAbstractButton *>(QStringLiteral("btnSubmit"));
    QList<bool> held;
    settings.btnSubmit.action = [&] { held += settings.window.optionHeld(); };
    QTest::mouseClick(&submit, Qt::LeftButton, Qt::AltModifier);
    QTest::mouseClick(&submit, Qt::LeftButton);
    QTest::keyClick(&form.widget(), Qt::Key_Return, Qt::AltModifier);
    QTest::keyClick(&form.widget(), Qt::Key_O, Qt::AltModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return held.size() == 4; }));
    EXPECT_EQ(held, QList<bool>({true, false, true, false}));
}

}  // namespace
