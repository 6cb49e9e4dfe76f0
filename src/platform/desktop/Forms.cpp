#include "platform/desktop/Forms.h"

#include <QDialog>
#include <QMap>

#include "ui_VDLoginWindow.h"
#include "ui_VDProgressBarWindow.h"
#include "ui_VDProgressBarWindow_0.h"
#include "ui_VDSSLChooser.h"
#include "ui_VDSettingsWindow.h"

namespace {

template <typename Form, typename Widget>
std::unique_ptr<QWidget> make() {
    auto window = std::make_unique<Widget>();
    Form().setupUi(window.get());
    return window;
}

const QMap<QString, std::unique_ptr<QWidget> (*)()> &makers() {
    static const QMap<QString, std::unique_ptr<QWidget> (*)()> table{
        {QStringLiteral("VDLoginWindow"), make<Ui::VDLoginWindow, QDialog>},
        {QStringLiteral("VDProgressBarWindow"), make<Ui::VDProgressBarWindow, QWidget>},
        {QStringLiteral("VDProgressBarWindow_0"), make<Ui::VDProgressBarWindow_0, QWidget>},
        {QStringLiteral("VDSSLChooser"), make<Ui::VDSSLChooser, QDialog>},
        {QStringLiteral("VDSettingsWindow"), make<Ui::VDSettingsWindow, QDialog>},
    };
    return table;
}

}  // namespace

std::unique_ptr<QWidget> makeForm(const QString &name) {
    const auto maker = makers().value(name);
    if (!maker)
        qFatal("there is no window \"%s\"", qPrintable(name));
    return maker();
}

QStringList formNames() {
    return makers().keys();
}
