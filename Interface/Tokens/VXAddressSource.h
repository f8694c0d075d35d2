#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

/** An address in a token field. A value type. */
struct VX_INTERFACE_EXPORT VXPhonebookToken
{
    enum class State {
        Known,     // in the phonebook
        Unknown,   // an address that is not in the phonebook
        Ambiguous, // a name with several addresses: the first of `candidates` is used until another is chosen
        Group,
        Invalid, // no address
    };

    QString string; // a phonebook string or group; for Invalid, what was typed
    State state = State::Invalid;
    QString name = {};
    QString value = {};
    unsigned type = 0;
    QStringList candidates = {};

    /** The text in the token. */
    QString label() const;
    /** The same for the same number or address, however it is written or named. */
    QString key() const;
};

/** Provides a token field with addresses. */
class VX_INTERFACE_EXPORT VXAddressSource
{
public:
    virtual ~VXAddressSource();

    /** Phonebook strings and groups that match what was typed, at most `limit`, in no particular order. */
    virtual QStringList completions(const QString &typed, int limit) = 0;
    /** The name that the phonebook has for an address; null for none. */
    virtual QString nameForAddress(const QString &phonebookString) = 0;

    /** The session's phonebook (VXPhonebookManager). */
    static std::shared_ptr<VXAddressSource> phonebookSource();

    /**
     * At most 20 completions, in the order that users expect: the exact number, addresses used often and recently,
     * names with that prefix, names with a word with that prefix, others, groups.
     */
    QStringList rankedCompletions(const QString &typed, const QStringList &recent);
    /** Finds the address for a literal text. */
    VXPhonebookToken resolve(const QString &text);
};
