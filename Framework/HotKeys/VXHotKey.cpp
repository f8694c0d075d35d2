#include "VXHotKey.h"

#include "VXException.h"
#include "VXKeyCombination.h"
#include "VXMethodLog.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

quint32 nextSerialNumber()
{
    static quint32 last = 0; // main thread only
    return ++last;
}

} // namespace

VXHotKey::VXHotKey(const QString &identifier, VXHotKeyService &service) : _service(&service), _identifier(identifier) {}

QString VXHotKey::textOfStatus(quint32 status)
{
    return QString::number(status, 16).toUpper();
}

VXHotKey::~VXHotKey()
{
    unregister();
}

bool VXHotKey::registerWithKeyCode(quint32 keyCode, quint32 modifiers, const QString &displayString)
{
    VXAssert(!isRegistered(), u"Key already registered: %1"_s.arg(_identifier));
    const quint32 number = nextSerialNumber();
    _hotKeyID = {number, number};
    _status = _service->registerHotKey({.hotKeyID = _hotKeyID,
                                        .keyCode = keyCode,
                                        .modifiers = VXHotKeyModifiersFromFlags(modifiers),
                                        .identifier = _identifier,
                                        .title = _localizedTitle},
                                       &_hotKeyRef);
    if (_status != VXHotKeyDone) {
        VXLogMethod(VXLogError, "registerWithKeyCode:modifiers:displayString:",
                    u"Unable to register hotkey %1: %2"_s.arg(_identifier, textOfStatus(_status)));
        return false;
    }
    _displayString = displayString;
    return true;
}

void VXHotKey::unregister()
{
    const quint32 status = isRegistered() ? _service->unregisterHotKey(_hotKeyRef) : quint32(VXHotKeyDone);
    if (status != VXHotKeyDone)
        VXLogMethod(VXLogError, "unregister",
                    u"Unable to unregister hotkey %1: %2"_s.arg(_identifier, textOfStatus(status)));
    forgetRegistration(VXHotKeyDone);
}

void VXHotKey::forgetRegistration(quint32 status)
{
    _hotKeyRef = 0;
    _displayString = QString();
    _status = status;
}
