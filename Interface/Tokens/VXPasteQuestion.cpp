#include "VXPasteQuestion.h"

#include "VXInterface.h"
#include "VXTextLabel.h"

#include <QtCore/QLocale>
#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QPushButton>

#include <utility>

using namespace Qt::StringLiterals;

VXPasteQuestion::VXPasteQuestion(qsizetype count, std::function<void(bool isYes)> answered, QWidget &field)
    : QFrame(&field), _answered(std::move(answered)), _cancel(new QPushButton(VXInterfaceString(u"Cancel"_s)))
{
    setProperty("vxSurface", u"card"_s);
    auto *const text = new VXTextLabel(VXInterfaceString(u"Add %1 recipients?"_s).arg(QLocale().toString(count)));
    text->setWordWrap(false);
    auto *const add = new QPushButton(VXInterfaceString(u"Add"_s));
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(12, 4, 6, 4);
    row->addWidget(text, 1);
    row->addWidget(_cancel);
    row->addWidget(add);
    connect(add, &QPushButton::clicked, this, [this] { answer(true); });
    connect(_cancel, &QPushButton::clicked, this, [this] { answer(false); });
    setAccessibleName(text->text());
    place();
    show();
    add->setFocus();
}

void VXPasteQuestion::place()
{
    const QRect field = parentWidget()->rect();
    const int height = std::min(sizeHint().height(), field.height());
    setGeometry(4, field.height() - height - 4, field.width() - 8, height);
}

void VXPasteQuestion::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        answer(false);
    else if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        answer(!_cancel->hasFocus());
    event->accept(); // else it would go on to the field behind
}

void VXPasteQuestion::answer(bool isYes)
{
    const auto answered = std::exchange(_answered, nullptr);
    parentWidget()->setFocus();
    hide();
    deleteLater();
    if (answered)
        answered(isYes);
}
