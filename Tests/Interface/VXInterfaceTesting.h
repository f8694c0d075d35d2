#pragma once

#include "VXTesting.h"

#include <QtCore/QString>
#include <QtTest/QTest>
#include <QtWidgets/QWidget>

#include <functional>

/** The first child of that class with that object name, or any name. Fails the test's use by a null pointer when there is none. */
template <class T>
T *VXChild(const QWidget &parent, const QString &name = {})
{
    return parent.findChild<T *>(name);
}

/** Calls `answer` with the next modal window as soon as it is there. */
void VXWhenModal(const std::function<void(QWidget &window)> &answer);

/** Shows the widget in a window of the size, active, as a user would have it before them. */
void VXShowActive(QWidget &widget, const QSize &size = {400, 300});

/** What assistive technology calls the widget. */
QString VXAccessibleName(const QWidget &widget);

/** Real key events, one for each character. */
void VXType(QWidget &widget, const QString &text);
void VXPress(QWidget &widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier);
