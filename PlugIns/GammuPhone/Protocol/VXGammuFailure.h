#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

/**
 * What went wrong, in the form in which it travels between the device and its process; the device translates it into
 * the user's language.
 */
struct VXGammuFailure
{
    int code = 0; // the library's GSM_Error; 0 for something the phone was not even asked for
    QString text; // a key of the plugin's strings table, with the placeholders "%1" to "%3"; null: nothing went wrong
    QStringList arguments; // for those placeholders

    explicit operator bool() const { return !text.isNull(); }
};

/** The caller asked for something impossible. */
inline VXGammuFailure VXGammuRefusal(const QString &text, const QStringList &arguments = {})
{
    return {0, text, arguments};
}
