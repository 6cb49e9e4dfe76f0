#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTabWidget>
#include <QTest>
#include <QTreeWidget>

#include "platform/desktop/Binder.h"

namespace {

// A form with a widget of each kind, by the name of its class.
struct BinderTest : testing::Test {
    QDialog dialog;
    template <typename Widget>
    Widget &add(const char *name) {
        auto *const widget = new Widget(&dialog);
        widget->setObjectName(QLatin1String(name));
        return *widget;
    }
    QLineEdit &edit = add<QLineEdit>("edit");
    QLabel &label = add<QLabel>("label");
    QCheckBox &box = add<QCheckBox>("box");
    QPushButton &push = add<QPushButton>("push");
    QComboBox &combo = add<QComboBox>("combo");
    QTreeWidget &tree = add<QTreeWidget>("tree");
    QTabWidget &tab = add<QTabWidget>("tab");
    QLabel &standIn = add<QLabel>("tab_hidden");

    TextField field, text;
    CheckBox check;
    Button button;
    Choice choice;
    Table table{{QStringLiteral("one"), QStringLiteral("two")}};
    TabGroup tabs;
    Window window{QStringLiteral("dialog")};
    int acted = 0;

    // Last: it goes first.
    Binder binder{dialog};

    BinderTest() {
        tree.setColumnCount(2);
        tab.addTab(new QWidget, QStringLiteral("a"));
        tab.addTab(new QWidget, QStringLiteral("b"));
        for (Control *each : std::initializer_list<Control *>{&field, &check, &button, &choice})
            each->action = [this] { ++acted; };
        const auto bind = [this](const char *name, auto &control) {
            binder.bind(QString::fromLatin1(name), control);
        };
        bind("edit", field);
        bind("label", text);
        bind("box", check);
        bind("push", button);
        bind("combo", choice);
        bind("tree", table);
        bind("tab", tabs);
        binder.bindWindow(window);
        window.show();
    }
    QStringList rowsShown() const {
        QStringList rows;
        for (int i = 0; i < tree.topLevelItemCount(); ++i)
            rows += tree.topLevelItem(i)->text(0) + tree.topLevelItem(i)->text(1);
        return rows;
    }
    int rowSelected() const {
        const auto items = tree.selectedItems();
        return items.isEmpty() ? -1 : tree.indexOfTopLevelItem(items.first());
    }
};

TEST_F(BinderTest, WidgetsShowWhatTheLogicSetsAndRunNoAction) {
    field.setText(QStringLiteral("a & b"));
    text.setText(QStringLiteral("<b>"));
    check.setState(true);
    button.setTitle(QStringLiteral("Choose"));
    choice.setItems({QStringLiteral("x"), QStringLiteral("y")});
    choice.setIndex(1);
    table.setRows(
        {{QStringLiteral("a"), QStringLiteral("1")}, {QStringLiteral("b"), QStringLiteral("2")}});
    table.selectRow(1);
    tabs.selectTab(1);
    EXPECT_EQ(edit.text(), QStringLiteral("a & b"));
    EXPECT_EQ(label.text(), QStringLiteral("<b>"));
    EXPECT_TRUE(box.isChecked());
    EXPECT_EQ(push.text(), QStringLiteral("Choose"));
    EXPECT_EQ(combo.currentText(), QStringLiteral("y"));
    EXPECT_EQ(rowsShown(), QStringList({QStringLiteral("a1"), QStringLiteral("b2")}));
    EXPECT_EQ(rowSelected(), 1);
    EXPECT_EQ(tab.currentIndex(), 1);
    table.setRows({{QStringLiteral("c"), QStringLiteral("3")}});
    table.deselect();
    EXPECT_EQ(rowsShown(), QStringList(QStringLiteral("c3")));
    EXPECT_EQ(rowSelected(), -1);
    // More than the form offers: kept, and shown as none.
    choice.setIndex(7);
    EXPECT_EQ(combo.currentIndex(), -1);
    EXPECT_EQ(choice.index(), 7);
    EXPECT_EQ(acted, 0);
}

TEST_F(BinderTest, StateShowsAndWhatStandsInForAHiddenWidget) {
    EXPECT_FALSE(standIn.isVisible());
    for (Control *control : std::initializer_list<Control *>{&field, &check, &button, &tabs})
        control->setEnabled(false);
    tabs.setHidden(true);
    EXPECT_FALSE(edit.isEnabled() || box.isEnabled() || push.isEnabled() || tab.isEnabled());
    EXPECT_FALSE(tab.isVisible());
    EXPECT_TRUE(standIn.isVisible());
}

TEST_F(BinderTest, ControlsGetWhatTheUserDoes) {
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
    edit.setFocus();
    QTest::keyClicks(&edit, QStringLiteral("typed"));
    EXPECT_EQ(field.text(), QStringLiteral("typed"));
    QTest::mouseClick(&box, Qt::LeftButton);
    EXPECT_TRUE(check.state());
    QTest::mouseClick(&push, Qt::LeftButton);
    choice.setItems({QStringLiteral("x"), QStringLiteral("y")});
    combo.activated(1);
    EXPECT_EQ(choice.index(), 1);
    tab.setCurrentIndex(1);
    EXPECT_EQ(tabs.selected(), 1);
    EXPECT_EQ(acted, 4);  // the field's end of editing too
    dialog.reject();
    EXPECT_FALSE(window.isVisible());
}

TEST_F(BinderTest, ARefusedSelectionGoesBackAndNoneIsTakenMeanwhile) {
    table.setRows({{QStringLiteral("a")}, {QStringLiteral("b")}, {QStringLiteral("c")}});
    table.selectRow(0);
    QList<int> asked;
    bool answer = false;
    table.shouldSelectRow = [&](int row) {
        asked += row;
        // As a test against the server does, while the user goes on clicking.
        tree.setCurrentItem(tree.topLevelItem(2));
        QCoreApplication::processEvents();
        return answer;
    };
    const auto click = [&] {
        tree.setCurrentItem(tree.topLevelItem(1));
        QCoreApplication::processEvents();
    };
    click();
    EXPECT_EQ(rowSelected(), 0);
    answer = true;
    click();
    EXPECT_EQ(rowSelected(), 1);
    EXPECT_EQ(table.selectedRow(), 1);
    EXPECT_EQ(asked, QList<int>({1, 1}));
}

}  // namespace
