#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/** What went wrong, as it travels between the device and its process: the device puts it into the user's language. */
struct VXGammuFailure
{
    int code = 0; // the library's GSM_Error; 0 for what was not even asked of the phone
    QString text; // a key of the plugin's strings table, with the places "%1" to "%3"; null: nothing went wrong
    QStringList arguments; // for those places

    explicit operator bool() const { return !text.isNull(); }
};

/** The caller asked for what cannot be. */
inline VXGammuFailure VXGammuRefusal(const QString &text, const QStringList &arguments = {})
{
    return {0, text, arguments};
}
