#include "VXTriggerEditor.h"

#include "VXDesktopText.h"
#include "VXEventFields.h"
#include "VXEventManager.h"
#include "VXFilterEditor.h"
#include "VXReactionEditor.h"
#include "VXSymbol.h"
#include "VXTabOrder.h"
#include "VXTextLabel.h"

#include <QtGui/QKeyEvent>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMenu>
#include <QtWidgets/QPushButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr std::chrono::milliseconds rest{400};

// What people call each event that some plugin posts.
QList<std::pair<QString, QString>> namedEvents()
{
    const VXEventManager &manager = VXEventManager::sharedEventManager();
    QList<std::pair<QString, QString>> events;
    for (const QString &name : manager.events().keys())
        events.append({manager.localizedNameForEventName(name), name});
    std::ranges::sort(events, [](const auto &a, const auto &b) { return a.first.localeAwareCompare(b.first) < 0; });
    return events;
}

} // namespace

VXTriggerEditor::VXTriggerEditor(QWidget *parent)
    : QScrollArea(parent), _name(new QLineEdit), _isEnabled(new QCheckBox(VXText("On"))), _event(new QComboBox),
      _filterPlace(new QVBoxLayout), _reactions(new QVBoxLayout),
      _problem(new VXTextLabel({}, VXTextLabel::Role::Body)), _trials(new VXTextLabel({}, VXTextLabel::Role::Body))
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setAccessibleName(VXText("Automation"));
    _name->setPlaceholderText(VXText("Name of the automation"));
    _name->setAccessibleName(VXText("Name"));
    _event->setAccessibleName(VXText("Event"));
    _problem->setProperty("vxTone", u"warning"_s);
    for (const auto &[title, name] : namedEvents())
        _event->addItem(title, name);

    auto *const head = new QHBoxLayout;
    head->addWidget(_name, 1);
    head->addWidget(_isEnabled);
    auto *const add = new QPushButton(VXSymbol::named(u"plus"_s), VXText("Add what shall happen"));
    auto *const test = new QPushButton(VXSymbol::named(u"play"_s), VXText("Try with past events"));
    auto *const middle = new QWidget;
    middle->setMaximumWidth(680);
    auto *const column = new QVBoxLayout(middle);
    column->setContentsMargins(20, 20, 20, 24);
    column->setSpacing(10);
    column->addLayout(head);
    column->addWidget(_problem);
    const auto addTitle = [&](const char *text) {
        column->addSpacing(8);
        column->addWidget(new VXTextLabel(VXText(text), VXTextLabel::Role::Title));
    };
    addTitle("When");
    column->addWidget(_event);
    addTitle("If");
    column->addLayout(_filterPlace);
    addTitle("Then");
    column->addLayout(_reactions);
    column->addWidget(add, 0, Qt::AlignLeading);
    addTitle("Try it");
    column->addWidget(new VXTextLabel(VXText("Shows what it would have done on the last events, and does nothing."),
                                      VXTextLabel::Role::Secondary));
    column->addWidget(test, 0, Qt::AlignLeading);
    column->addWidget(_trials);
    column->addStretch();
    _reactions->setSpacing(10);
    auto *const page = new QWidget;
    auto *const sides = new QHBoxLayout(page);
    sides->setContentsMargins(0, 0, 0, 0);
    sides->addStretch(1);
    sides->addWidget(middle, 100);
    sides->addStretch(1);
    setWidget(page);
    VXKeepTabOrder(*page);

    _rest.setSingleShot(true);
    _rest.setInterval(rest);
    connect(&_rest, &QTimer::timeout, this, &VXTriggerEditor::didChange);
    connect(_name, &QLineEdit::textEdited, this, &VXTriggerEditor::noteChange);
    connect(_isEnabled, &QCheckBox::clicked, this, &VXTriggerEditor::noteChange);
    connect(_event, &QComboBox::activated, this, [this] {
        setFilter(filter());
        noteChange();
    });
    connect(add, &QPushButton::clicked, this, &VXTriggerEditor::showReactorMenu);
    connect(test, &QPushButton::clicked, this, [this] {
        flush();
        Q_EMIT wantsTrials();
    });
}

void VXTriggerEditor::setDraft(const VXTriggerDraft &draft)
{
    _rest.stop();
    _name->setText(draft.name);
    _isEnabled->setChecked(draft.isEnabled);
    if (_event->findData(draft.event) < 0 && !draft.event.isEmpty())
        _event->addItem(draft.event, draft.event);
    _event->setCurrentIndex(std::max(0, _event->findData(draft.event)));
    setFilter(draft.filter);
    for (VXReactionEditor *const editor : std::as_const(_editors)) {
        editor->hide();
        editor->deleteLater();
    }
    _editors.clear();
    for (const VXTriggerChange::Reaction &reaction : draft.reactions)
        addReaction(reaction);
    setProblem({});
    setTrials({});
}

VXTriggerDraft VXTriggerEditor::draft() const
{
    VXTriggerDraft draft{
        _name->text().trimmed(), _event->currentData().toString(), filter(), _isEnabled->isChecked(), {}};
    for (const VXReactionEditor *const editor : _editors)
        draft.reactions.append(editor->reaction());
    return draft;
}

// Each event has its own fields.
void VXTriggerEditor::setFilter(const QString &text)
{
    _keptFilter = text;
    if (_filter != nullptr) {
        _filter->hide();
        _filter->deleteLater();
    }
    _filter = new VXFilterEditor(VXFieldsOfEvent(_event->currentData().toString()), widget());
    _filter->setPredicate(text.isEmpty() ? VXPredicate()
                                         : VXPredicate::predicateWithFormat(text).value_or(VXPredicate()));
    _filterPlace->addWidget(_filter);
    connect(_filter, &VXFilterEditor::predicateDidChange, this, &VXTriggerEditor::noteChange);
}

QString VXTriggerEditor::filter() const
{
    const std::optional<VXPredicate> predicate = _filter->predicate();
    if (!predicate)
        return _keptFilter;
    return predicate->kind() == VXPredicate::Kind::True ? QString() : predicate->predicateFormat();
}

void VXTriggerEditor::setProblem(const QString &problem)
{
    _problem->setText(problem);
    _problem->setVisible(!problem.isEmpty());
}

void VXTriggerEditor::setTrials(const QStringList &lines)
{
    _trials->setText(lines.join(u'\n'));
    _trials->setVisible(!lines.isEmpty());
}

void VXTriggerEditor::flush()
{
    if (!_rest.isActive())
        return;
    _rest.stop();
    Q_EMIT didChange();
}

// The key is for what is typed; on a check box or a list of events it must not delete the automation.
bool VXTriggerEditor::event(QEvent *event)
{
    if (event->type() == QEvent::ShortcutOverride && static_cast<QKeyEvent *>(event)->key() == Qt::Key_Delete) {
        event->accept();
        return true;
    }
    return QScrollArea::event(event);
}

void VXTriggerEditor::focusName()
{
    _name->setFocus();
}

void VXTriggerEditor::noteChange()
{
    setTrials({});
    _rest.start();
}

void VXTriggerEditor::addReaction(const VXTriggerChange::Reaction &reaction)
{
    auto *const editor = new VXReactionEditor(reaction, widget());
    _reactions->addWidget(editor);
    _editors.append(editor);
    connect(editor, &VXReactionEditor::didChange, this, &VXTriggerEditor::noteChange);
    connect(editor, &VXReactionEditor::wantsRemoval, this, [this, editor] {
        _editors.removeOne(editor);
        editor->hide();
        editor->deleteLater();
        noteChange();
    });
}

void VXTriggerEditor::showReactorMenu()
{
    auto *const button = qobject_cast<QWidget *>(sender());
    QMenu menu(this);
    for (const auto &[identifier, name] : VXUsableReactors())
        menu.addAction(name, this, [this, identifier = identifier] {
            addReaction({identifier, {}});
            noteChange();
        });
    menu.exec(button->mapToGlobal(button->rect().bottomLeft()));
}
