#include "VXInterfaceTesting.h"

#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

void VXWhenModal(const std::function<void(QWidget &window)> &answer)
{
    auto *const look = new QTimer(QCoreApplication::instance());
    QObject::connect(look, &QTimer::timeout, look, [look, answer] {
        QWidget *const window = QApplication::activeModalWidget();
        if (window == nullptr)
            return;
        look->deleteLater();
        look->stop();
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

void VXType(QWidget &widget, const QString &text)
{
    for (const QChar character : text)
        QTest::sendKeyEvent(QTest::Click, &widget, Qt::Key_unknown, QString(character), Qt::NoModifier);
}

void VXPress(QWidget &widget, Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(&widget, key, modifiers);
}
