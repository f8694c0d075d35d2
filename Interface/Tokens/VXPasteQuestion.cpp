#include "VXPasteQuestion.h"

#include "VXInterface.h"
#include "VXTextLabel.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QPushButton>

#include <utility>

using namespace Qt::StringLiterals;

VXPasteQuestion::VXPasteQuestion(qsizetype count, std::function<void(bool isYes)> answered, QWidget &field)
    : QFrame(&field), _answered(std::move(answered))
{
    setProperty("vxSurface", u"card"_s);
    auto *const text = new VXTextLabel(VXInterfaceString(u"Add %1 recipients?"_s).arg(count));
    text->setWordWrap(false);
    auto *const add = new QPushButton(VXInterfaceString(u"Add"_s));
    auto *const cancel = new QPushButton(VXInterfaceString(u"Cancel"_s));
    auto *const row = new QHBoxLayout(this);
    row->setContentsMargins(12, 4, 6, 4);
    row->addWidget(text, 1);
    row->addWidget(cancel);
    row->addWidget(add);
    connect(add, &QPushButton::clicked, this, [this] { answer(true); });
    connect(cancel, &QPushButton::clicked, this, [this] { answer(false); });
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
    else
        QFrame::keyPressEvent(event);
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
