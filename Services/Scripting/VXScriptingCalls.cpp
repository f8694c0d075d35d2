#include "VXScriptingCalls.h"

#include "VXException.h"
#include "VXLog.h"
#include "VXScriptingService.h"

#include <QtDBus/QDBusConnectionInterface>
#include <QtDBus/QDBusReply>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype callersRemembered = 1000;

} // namespace

void VXScriptingCalls::admit(const QDBusMessage &call)
{
    const QString caller = call.service();
    auto known = _isAdmitted.constFind(caller);
    if (known == _isAdmitted.cend()) {
        if (_isAdmitted.size() >= callersRemembered)
            _isAdmitted.clear();
        const QDBusReply<uint> user = _connection.interface()->serviceUid(caller);
        known = _isAdmitted.insert(caller, user.isValid() && user.value() == ::geteuid());
    }
    if (!*known)
        throw VXScriptingFault{u"org.freedesktop.DBus.Error.AccessDenied"_s,
                               u"Only programs of the user that Vornix runs for may script it."_s};
}

void VXScriptingCalls::refuse(const QDBusMessage &call, const VXScriptingFault &fault) const
{
    call.setDelayedReply(true); // the answer is this one
    const QString name =
        fault.name.contains(u'.') ? fault.name : VXScriptingService::busName() + ".Error."_L1 + fault.name;
    _connection.send(call.createErrorReply(name, fault.text));
}

VXScriptingFault VXScriptingCalls::currentFault()
{
    QString text = u"an unknown exception"_s;
    try {
        throw;
    } catch (const VXException &exception) {
        text = exception.reason();
    } catch (const std::exception &exception) {
        text = QString::fromUtf8(exception.what());
    } catch (...) { // the text stays
    }
    VXLog::log(VXLogError, u"a call of a script failed: %1"_s.arg(text));
    return {u"Failed"_s, text};
}
