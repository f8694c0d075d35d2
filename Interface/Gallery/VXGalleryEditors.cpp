// Pages of components for writing.

#include "VXGalleryPage.h"

#include "VXCompletionWindow.h"
#include "VXFilterEditor.h"
#include "VXHotKeyManager.h"
#include "VXHotKeyRecorder.h"
#include "VXInterface.h"
#include "VXPhonebookString.h"
#include "VXPhonebookTokenField.h"
#include "VXTemplateEditor.h"
#include "VXTextLabel.h"

#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QPushButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

/** A phonebook of a few people. */
class SmallPhonebook : public VXAddressSource
{
public:
    QStringList completions(const QString &typed, int limit) override
    {
        QStringList found;
        for (const QString &entry : entries()) {
            if (entry.contains(typed, Qt::CaseInsensitive) && found.size() < limit)
                found.append(entry);
        }
        return found;
    }

    QString nameForAddress(const QString &phonebookString) override
    {
        QString wanted;
        static_cast<void>(VXPhonebookStringSplit(phonebookString, nullptr, &wanted));
        for (const QString &entry : entries()) {
            QString name;
            QString value;
            if (VXPhonebookStringSplit(entry, &name, &value) && value == wanted)
                return name;
        }
        return {};
    }

private:
    static QStringList entries()
    {
        return {u"Jane Doe <+44 20 7946 0000/Hm>"_s,
                u"Jane Doe <+44 20 7946 0999/W>"_s,
                u"Janet Miller <+49 30 901820/W>"_s,
                u"Bob Jansen <+31 20 5550100/m>"_s,
                u"Joe Hill <joe@example.org/H>"_s,
                u"Émile Janvier <+33 1 70180000/m>"_s,
                u"Family { Jane Doe <+44 20 7946 0000/Hm>, Joe Hill <joe@example.org/H> }"_s};
    }
};

QList<VXTemplateField> callFields()
{
    return {{u"from"_s, VXGalleryString(u"Caller"_s), u"VXDisplayStringForPhonebookString"_s, u"Jane Doe"_s},
            {u"date"_s, VXGalleryString(u"Time"_s), u"VXDateTransformer"_s, VXGalleryString(u"yesterday, 09:12"_s)},
            {u"duration"_s, VXGalleryString(u"Duration"_s), u"VXDurationTransformer"_s, u"1 min 5 s"_s}};
}

} // namespace

QWidget *VXMakeTokensPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page =
        VXMakePage(u"Recipients"_s,
                   u"Names and numbers become tokens; what is no address says so before anything is sent."_s, &column);
    const auto source = std::make_shared<SmallPhonebook>();
    auto *const states = new VXPhonebookTokenField(source, nullptr);
    states->setPhonebookStrings(
        u"Jane Doe <+44 20 7946 0000/Hm>, +1 555 0199, Family { Jane Doe <+44 20 7946 0000/Hm>, "
        u"Joe Hill <joe@example.org/H> }"_s);
    states->addAddresses({u"Someone"_s, u"joe@example.org"_s});
    VXAddSection(*column, u"All states"_s, states);
    auto *const typed = new VXPhonebookTokenField(source, nullptr);
    typed->setPhonebookStrings(u"Bob Jansen <+31 20 5550100/m>"_s);
    VXAddSection(*column, u"Write here: \"jan\""_s, typed);
    auto *const suggestions = new VXCompletionWindow(*typed);
    suggestions->setParent(page, Qt::Widget);
    suggestions->showRows(source->rankedCompletions(u"jan"_s, {}), {});
    suggestions->setMinimumHeight(suggestions->height());
    static_cast<void>(suggestions->takeKey(Qt::Key_Down));
    VXAddSection(*column, u"Suggestions for \"jan\""_s, suggestions);
    VXAddSection(*column, u"Nothing yet"_s, new VXPhonebookTokenField(source, nullptr));
    column->addStretch();
    return page;
}

QWidget *VXMakeTemplatesPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page =
        VXMakePage(u"Texts with fields"_s,
                   u"A line that is filled in when something happens. Ctrl+Space inserts a field."_s, &column);
    auto *const editor = new VXTemplateEditor(callFields());
    editor->setAttributedTemplate(VXAttributedTemplate(VXGalleryString(
        u"Call from ${from|VXDisplayStringForPhonebookString}, ${duration|VXDurationTransformer}, ${company}"_s)));
    auto *const insert = new QPushButton(VXGalleryString(u"Insert Field"_s));
    insert->setAutoDefault(false);
    QObject::connect(insert, &QPushButton::clicked, editor, &VXTemplateEditor::showFieldMenu);
    auto *const example = new VXTextLabel(editor->example(), VXTextLabel::Role::Body);
    auto *const stored = new VXTextLabel(editor->attributedTemplate().text(), VXTextLabel::Role::Secondary);
    QObject::connect(editor, &VXTemplateEditor::templateDidChange, page, [editor, example, stored] {
        example->setText(editor->example());
        stored->setText(editor->attributedTemplate().text());
    });
    VXAddSection(*column, u"The text"_s, editor);
    column->addWidget(insert, 0, Qt::AlignLeft);
    VXAddSection(*column, u"As it will read"_s, example);
    VXAddSection(*column, u"As it is stored"_s, stored);
    column->addStretch();
    return page;
}

QWidget *VXMakeFiltersPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page =
        VXMakePage(u"Filters"_s, u"Conditions as rows, joined by all, any or none; groups are rows too."_s, &column);
    const QList<VXFilterField> fields{
        {u"from"_s, VXGalleryString(u"Caller"_s)},
        {u"duration"_s, VXGalleryString(u"Duration"_s), VXFilterField::Type::Duration},
        {u"date"_s, VXGalleryString(u"Time"_s), VXFilterField::Type::Date},
        {u"missed"_s, VXGalleryString(u"Missed"_s), VXFilterField::Type::Boolean},
    };
    auto *const editor = new VXFilterEditor(fields);
    const auto predicate = VXPredicate::predicateWithFormat(
        u"from CONTAINS[cd] \"Jane\" AND duration >= 10 AND (missed == NO OR duration BETWEEN {60, 3600}) AND ANY to == \"x\""_s);
    if (predicate)
        editor->setPredicate(*predicate);
    VXAddSection(*column, {}, editor);
    auto *const words = new VXTextLabel(editor->words(), VXTextLabel::Role::Secondary);
    QObject::connect(editor, &VXFilterEditor::predicateDidChange, words,
                     [editor, words] { words->setText(editor->words()); });
    VXAddSection(*column, u"In words"_s, words);
    VXAddSection(*column, u"Nothing yet"_s, new VXFilterEditor(fields));
    column->addStretch();
    return page;
}

QWidget *VXMakeHotKeysPage()
{
    QVBoxLayout *column = nullptr;
    QWidget *const page = VXMakePage(
        u"Hot keys"_s, u"Return records, Escape keeps the old combination, Backspace takes it away."_s, &column);
    VXHotKeyManager &manager = VXHotKeyManager::sharedHotKeyManager();
    manager.registerHotKeyWithIdentifier(u"dial"_s, VXGalleryString(u"Dial the selected number"_s), page, "press");
    manager.registerHotKeyWithIdentifier(u"note"_s, VXGalleryString(u"New message"_s), page, "press");
    const auto bind = [&manager](const QString &identifier, const QString &keys) {
        const VXKeyCombination combination = VXKeyCombination::fromText(keys).value_or(VXKeyCombination());
        static_cast<void>(manager.updateHotKeyWithIdentifier(identifier, int(combination.keyCode),
                                                             int(combination.modifiers), combination.text()));
    };
    bind(u"dial"_s, u"Ctrl+Alt+D"_s);
    auto *const view = new QWidget;
    auto *const form = new QFormLayout(view);
    form->setContentsMargins(0, 0, 0, 0);
    form->setVerticalSpacing(12);
    form->setHorizontalSpacing(18);
    auto *const dial = new VXHotKeyRecorder(u"dial"_s);
    dial->setStandard(VXKeyCombination::fromText(u"Super+D"_s).value_or(VXKeyCombination()));
    auto *const recording = new VXHotKeyRecorder;
    recording->setProblem(
        VXInterfaceString(u"%1 belongs to \"%2\"."_s).arg(u"Super+N"_s, VXGalleryString(u"New message"_s)));
    form->addRow(VXGalleryString(u"Dial the selected number"_s), dial);
    form->addRow(VXGalleryString(u"New message"_s), new VXHotKeyRecorder(u"note"_s));
    form->addRow(VXGalleryString(u"Search everywhere"_s), recording);
    VXAddSection(*column, {}, view);
    column->addStretch();
    return page;
}
