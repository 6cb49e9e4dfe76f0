#pragma once

#include <memory>

#include <QString>
#include <QStringList>

class QWidget;

// The window of that name with its texts in the user's language, not yet shown. It is a fault of
// the program if there is none.
std::unique_ptr<QWidget> makeForm(const QString &name);
// The names of all of them.
QStringList formNames();
