#include "VXHotKeyRecorder.h"

#include "VXHotKeyManager.h"
#include "VXInterface.h"
#include "VXSymbol.h"
#include "VXTextLabel.h"

#include <QtGui/QKeyEvent>
#include <QtGui/QKeySequence>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QToolButton>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 firstScanCode = 8; // X servers and Wayland add this to evdev codes

bool isModifierKey(int key)
{
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_Hyper_L:
    case Qt::Key_Hyper_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
    case Qt::Key_ScrollLock:
        return true;
    default:
        return false;
    }
}

quint32 flagsOf(Qt::KeyboardModifiers modifiers)
{
    quint32 flags = 0;
    if (modifiers.testFlag(Qt::ShiftModifier))
        flags |= VXModifierShift;
    if (modifiers.testFlag(Qt::ControlModifier))
        flags |= VXModifierControl;
    if (modifiers.testFlag(Qt::AltModifier))
        flags |= VXModifierOption;
    if (modifiers.testFlag(Qt::MetaModifier))
        flags |= VXModifierCommand;
    return flags;
}

bool isFunctionKey(int key)
{
    return (key >= Qt::Key_F1 && key <= Qt::Key_F35) || (key >= Qt::Key_MediaPlay && key <= Qt::Key_MediaLast) ||
           key == Qt::Key_Pause || key == Qt::Key_Print;
}

QString heldModifiers(Qt::KeyboardModifiers modifiers)
{
    QString text = VXLocalizedKeyCombination({30, flagsOf(modifiers)}); // any key; its name is removed below
    text.chop(text.size() - 1 - text.lastIndexOf(u'+'));
    return text.contains(u'+') ? text : QString();
}

} // namespace

VXKeyCombination VXKeyCombinationOfEvent(const QKeyEvent &event)
{
    if (isModifierKey(event.key()))
        return {};
    VXKeyCombination combination{0, flagsOf(event.modifiers())};
    if (event.nativeScanCode() > firstScanCode) {
        combination.keyCode = event.nativeScanCode() - firstScanCode;
        return combination;
    }
    // A key sent by a program has no position on the keyboard, but perhaps its name does.
    const QString name = QKeySequence(event.key()).toString(QKeySequence::PortableText);
    if (const auto found = VXKeyCombination::fromText(name))
        combination.keyCode = found->keyCode;
    return combination;
}

QString VXLocalizedKeyCombination(const VXKeyCombination &combination)
{
    QStringList words = combination.text().split(u'+', Qt::SkipEmptyParts);
    for (QString &word : words)
        word = VXInterfaceString(word, u"Keys"_s);
    return words.isEmpty() ? QString() : words.join(u'+');
}

VXHotKeyRecorder::VXHotKeyRecorder(const QString &identifier, QWidget *parent)
    : QWidget(parent), _identifier(identifier), _field(new QPushButton), _clear(new QToolButton),
      _reset(new QToolButton), _problem(new VXTextLabel({}, VXTextLabel::Role::Caption))
{
    _field->setCheckable(true);
    _field->setAutoDefault(false);
    _field->setMinimumWidth(fontMetrics().averageCharWidth() * 26);
    _field->installEventFilter(this);
    connect(_field, &QPushButton::clicked, this, [this] {
        if (_isRecording)
            endRecording();
        else
            beginRecording();
    });
    _clear->setIcon(VXSymbol::named(u"clear"_s, VXSymbol::Tone::Quiet));
    _clear->setToolTip(VXInterfaceString(u"Remove the key combination"_s));
    _clear->setAccessibleName(_clear->toolTip());
    _clear->setFocusPolicy(Qt::TabFocus);
    connect(_clear, &QToolButton::clicked, this, [this] { change({}); });
    _reset->setIcon(VXSymbol::named(u"undo"_s, VXSymbol::Tone::Quiet));
    _reset->setToolTip(VXInterfaceString(u"Back to the standard"_s));
    _reset->setAccessibleName(_reset->toolTip());
    _reset->setFocusPolicy(Qt::TabFocus);
    connect(_reset, &QToolButton::clicked, this, [this] { change(_standard); });
    _problem->setProperty("vxTone", u"bad"_s);

    auto *const row = new QHBoxLayout;
    row->setSpacing(4);
    row->addWidget(_field);
    row->addWidget(_clear);
    row->addWidget(_reset);
    row->addStretch();
    auto *const column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(3);
    column->addLayout(row);
    column->addWidget(_problem);
    setFocusProxy(_field);
    followManager();
    update();
}

VXHotKeyRecorder::~VXHotKeyRecorder() = default;

void VXHotKeyRecorder::followManager()
{
    if (_identifier.isNull())
        return;
    const auto hotKey = VXHotKeyManager::sharedHotKeyManager().hotKeys().value(_identifier);
    int keyCode = 0;
    int modifiers = 0;
    if (VXHotKeyManager::sharedHotKeyManager().getHotKeySettingsForIdentifier(_identifier, &keyCode, &modifiers,
                                                                              nullptr))
        _combination = {static_cast<quint32>(keyCode), static_cast<quint32>(modifiers)};
    if (hotKey) {
        _field->setAccessibleName(VXInterfaceString(u"Key combination for %1"_s).arg(hotKey->title()));
        _clear->setAccessibleName(u"%1, %2"_s.arg(_clear->toolTip(), hotKey->title()));
        _reset->setAccessibleName(u"%1, %2"_s.arg(_reset->toolTip(), hotKey->title()));
    }
    if (hotKey && _combination.keyCode != 0 && !hotKey->isRegistered())
        setProblem(VXInterfaceString(u"The desktop does not give this combination away."_s));
}

void VXHotKeyRecorder::setCombination(const VXKeyCombination &combination)
{
    _combination = combination;
    update();
}

void VXHotKeyRecorder::setStandard(const VXKeyCombination &combination)
{
    _standard = combination;
    update();
}

QString VXHotKeyRecorder::problem() const
{
    return _problem->text().isEmpty() ? QString() : _problem->text();
}

void VXHotKeyRecorder::setProblem(const QString &problem)
{
    _problem->setText(problem);
    _problem->setVisible(!problem.isEmpty());
    _field->setAccessibleDescription(problem);
}

void VXHotKeyRecorder::beginRecording()
{
    if (std::exchange(_isRecording, true))
        return;
    setProblem({});
    _held.clear();
    _field->setFocus();
    _field->grabKeyboard(); // including shortcuts of the window
    update();
}

void VXHotKeyRecorder::endRecording()
{
    if (!std::exchange(_isRecording, false))
        return;
    _field->releaseKeyboard();
    update();
}

bool VXHotKeyRecorder::eventFilter(QObject *, QEvent *event)
{
    switch (event->type()) {
    case QEvent::ShortcutOverride:
        if (_isRecording)
            event->accept();
        return _isRecording;
    case QEvent::KeyPress: {
        const auto &key = *static_cast<QKeyEvent *>(event);
        if (_isRecording) {
            take(key);
            return true;
        }
        if (key.key() == Qt::Key_Return || key.key() == Qt::Key_Enter) {
            beginRecording();
            return true;
        }
        if (key.key() == Qt::Key_Backspace || key.key() == Qt::Key_Delete) {
            change({});
            return true;
        }
        return false;
    }
    case QEvent::KeyRelease:
        if (_isRecording) {
            _held = heldModifiers(static_cast<QKeyEvent *>(event)->modifiers());
            update();
        }
        return _isRecording;
    case QEvent::FocusOut:
    case QEvent::Hide:
        endRecording();
        return false;
    default:
        return false;
    }
}

void VXHotKeyRecorder::take(const QKeyEvent &event)
{
    const bool isBare = (event.modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
    if (isModifierKey(event.key())) {
        Qt::KeyboardModifiers held = event.modifiers();
        held.setFlag(Qt::ShiftModifier, held.testFlag(Qt::ShiftModifier) || event.key() == Qt::Key_Shift);
        held.setFlag(Qt::ControlModifier, held.testFlag(Qt::ControlModifier) || event.key() == Qt::Key_Control);
        held.setFlag(Qt::AltModifier, held.testFlag(Qt::AltModifier) || event.key() == Qt::Key_Alt);
        held.setFlag(Qt::MetaModifier, held.testFlag(Qt::MetaModifier) || event.key() == Qt::Key_Meta ||
                                           event.key() == Qt::Key_Super_L || event.key() == Qt::Key_Super_R);
        _held = heldModifiers(held);
        return update();
    }
    if (isBare && event.key() == Qt::Key_Escape)
        return endRecording();
    if (isBare && (event.key() == Qt::Key_Backspace || event.key() == Qt::Key_Delete)) {
        endRecording();
        return change({});
    }
    // Shift alone types capitals.
    const bool isTyping = (event.modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier)) == Qt::NoModifier;
    const VXKeyCombination combination = VXKeyCombinationOfEvent(event);
    if (combination.keyCode == 0 || (isTyping && !isFunctionKey(event.key()))) {
        setProblem(VXInterfaceString(u"Add Ctrl, Alt or the Super key, or take a function key."_s));
        return;
    }
    endRecording();
    change(combination);
}

void VXHotKeyRecorder::change(const VXKeyCombination &combination)
{
    setProblem({});
    if (!bind(combination))
        return update();
    const bool isOther = std::exchange(_combination, combination) != combination;
    update();
    if (isOther)
        Q_EMIT combinationDidChange(combination);
}

// If this is refused, the old combination remains in use.
bool VXHotKeyRecorder::bind(const VXKeyCombination &combination)
{
    if (_identifier.isNull())
        return true;
    VXHotKeyManager &manager = VXHotKeyManager::sharedHotKeyManager();
    const auto hotKeys = manager.hotKeys();
    for (const auto &other : hotKeys) {
        int keyCode = 0;
        int modifiers = 0;
        const bool isBound =
            manager.getHotKeySettingsForIdentifier(other->identifier(), &keyCode, &modifiers, nullptr) && keyCode != 0;
        const VXKeyCombination bound{static_cast<quint32>(keyCode), static_cast<quint32>(modifiers)};
        if (other->identifier() != _identifier && isBound && bound == combination) {
            setProblem(VXInterfaceString(u"%1 belongs to \"%2\"."_s)
                           .arg(VXLocalizedKeyCombination(combination), other->title()));
            return false;
        }
    }
    const auto update = [&](const VXKeyCombination &wanted) {
        return manager.updateHotKeyWithIdentifier(_identifier, static_cast<int>(wanted.keyCode),
                                                  static_cast<int>(wanted.modifiers), wanted.text());
    };
    if (update(combination))
        return true;
    setProblem(VXInterfaceString(u"The desktop does not give this combination away."_s));
    if (_combination.keyCode != 0)
        static_cast<void>(update(_combination));
    return false;
}

void VXHotKeyRecorder::update()
{
    const QString shown = VXLocalizedKeyCombination(_combination);
    QString text = shown.isNull() ? VXInterfaceString(u"None"_s) : shown;
    if (_isRecording)
        text = _held.isEmpty() ? VXInterfaceString(u"Press the keys"_s) : _held;
    _field->setText(text);
    _field->setChecked(_isRecording);
    _field->setToolTip(VXInterfaceString(u"Return records, Backspace removes"_s));
    _clear->setEnabled(_combination.keyCode != 0);
    _reset->setVisible(_standard.keyCode != 0);
    _reset->setEnabled(_standard != _combination);
    _problem->setVisible(!_problem->text().isEmpty());
}
