#include "VXAssistant.h"

#include "VXDesktopText.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QPushButton>

using namespace Qt::StringLiterals;

VXAssistant::VXAssistant(QWidget *parent) : QDialog(parent)
{
    setWindowTitle(VXText("Welcome"));
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(36, 30, 36, 28);
    column->setSpacing(12);
    auto *const title = new VXTextLabel(VXText("Welcome to Vornix"), VXTextLabel::Role::Headline);
    auto *const text = new VXTextLabel(VXText("Your contacts, messages and calls in one place, in step with your "
                                              "phones. What would you like to begin with?"),
                                       VXTextLabel::Role::Secondary);
    text->setTextWidth(420);
    column->addWidget(title);
    column->addWidget(text);
    column->addSpacing(8);
    const auto addChoice = [&](const QString &icon, const QString &choice, void (VXAssistant::*chosen)()) {
        auto *const button = new QPushButton(VXSymbol::named(icon, VXSymbol::Tone::Accent), choice);
        button->setIconSize({24, 24});
        button->setMinimumHeight(48);
        button->setAutoDefault(false);
        button->setStyleSheet(u"text-align: left;"_s);
        column->addWidget(button);
        connect(button, &QPushButton::clicked, this, [this, chosen] {
            accept();
            Q_EMIT(this->*chosen)();
        });
        return button;
    };
    addChoice(u"phone-plus"_s, VXText("Connect a phone"), &VXAssistant::wantsPhone)->setFocus();
    addChoice(u"people"_s, VXText("Import contacts from a file"), &VXAssistant::wantsContacts);
    addChoice(u"message"_s, VXText("Import messages from a backup"), &VXAssistant::wantsMessages);
    auto *const later = new QPushButton(VXText("Look around first"));
    later->setFlat(true);
    later->setAutoDefault(false);
    connect(later, &QPushButton::clicked, this, &QDialog::reject);
    column->addSpacing(4);
    column->addWidget(later, 0, Qt::AlignHCenter);
}

// There is no default button: Return presses the one with the focus.
void VXAssistant::keyPressEvent(QKeyEvent *event)
{
    auto *const button = qobject_cast<QPushButton *>(focusWidget());
    if ((event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter) && button != nullptr)
        button->click();
    else
        QDialog::keyPressEvent(event);
}
