#pragma once

#include <QtCore/QHash>
#include <QtDBus/QDBusConnection>
#include <QtDBus/QDBusMessage>

#include <exception>
#include <optional>
#include <type_traits>

/** Ends a call with an error; thrown and caught in this folder only. */
struct VXScriptingFault
{
    QString name; // behind the application's own, as "NotFound"; one with a dot is whole
    QString text;
};

/** Lets only the user's own programs call, and answers errors. Main thread only. */
class VXScriptingCalls
{
public:
    explicit VXScriptingCalls(const QDBusConnection &connection) : _connection(connection) {}

    const QDBusConnection &connection() const { return _connection; }

    /** Does what a call asks for; a caller of another user, a fault or anything else that is thrown is answered as an error. */
    template <class F>
    std::invoke_result_t<F> serve(const QDBusMessage &call, F &&work)
    {
        using Result = std::invoke_result_t<F>;
        try {
            admit(call);
            return work();
        } catch (const VXScriptingFault &fault) {
            refuse(call, fault);
        } catch (...) {
            refuse(call, currentFault());
        }
        if constexpr (!std::is_void_v<Result>)
            return Result(); // not sent any more
    }

    void refuse(const QDBusMessage &call, const VXScriptingFault &fault) const;

private:
    void admit(const QDBusMessage &call);
    static VXScriptingFault currentFault();

    QDBusConnection _connection;
    QHash<QString, bool> _isAdmitted; // by the caller's own name on the bus, which is never given twice
};
