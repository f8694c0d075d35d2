#include "VXInterfaceTesting.h"

#include <QtCore/QTimer>
#include <QtGui/QAccessible>
#include <QtWidgets/QApplication>

void VXWhenModal(const std::function<void(QWidget &window)> &answer)
{
    auto *const look = new QTimer(QCoreApplication::instance());
    const QWidget *const before = QApplication::activeModalWidget();
    QObject::connect(look, &QTimer::timeout, look, [look, before, answer] {
        QWidget *const window = QApplication::activeModalWidget();
        if (window == nullptr || window == before)
            return;
        look->deleteLater();
        look->stop();
        static_cast<void>(QTest::qWaitForWindowActive(window)); // has the focus where a user would find it
        answer(*window);
    });
    look->start(5);
}

void VXShowActive(QWidget &widget, const QSize &size)
{
    widget.resize(size);
    widget.show();
    widget.activateWindow();
    static_cast<void>(QTest::qWaitForWindowActive(&widget));
}

QString VXAccessibleName(const QWidget &widget)
{
    QAccessibleInterface *const found = QAccessible::queryAccessibleInterface(const_cast<QWidget *>(&widget));
    return found != nullptr ? found->text(QAccessible::Name) : QString();
}

void VXType(QWidget &widget, const QString &text)
{
    for (const QChar character : text)
        QTest::sendKeyEvent(QTest::Click, &widget, Qt::Key_unknown, QString(character), Qt::NoModifier);
}

void VXPress(QWidget &widget, Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(&widget, key, modifiers);
}
