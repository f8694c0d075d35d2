#pragma once

#include "VXInterfaceExport.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

/** An address as a token field holds it. A plain value. */
struct VX_INTERFACE_EXPORT VXPhonebookToken
{
    enum class State {
        Known,     // somebody in the phonebook
        Unknown,   // an address that nobody in the phonebook has
        Ambiguous, // a name with several addresses: the first of `candidates` stands until another is chosen
        Group,
        Invalid, // no address
    };

    QString string; // a phonebook string, a group, or of an invalid one what was typed
    State state = State::Invalid;
    QString name = {};
    QString value = {};
    unsigned type = 0;
    QStringList candidates = {};

    /** What a token shows. */
    QString label() const;
    /** The same number or address, however it is written or named, has the same one. */
    QString key() const;
};

/** What a token field asks about addresses. */
class VX_INTERFACE_EXPORT VXAddressSource
{
public:
    virtual ~VXAddressSource();

    /** Phonebook strings and groups that fit what was typed, at most `limit`, in no particular order. */
    virtual QStringList completions(const QString &typed, int limit) = 0;
    /** The name that the phonebook has for an address; null for none. */
    virtual QString nameForAddress(const QString &phonebookString) = 0;

    /** The session's phonebook (VXPhonebookManager). */
    static std::shared_ptr<VXAddressSource> phonebookSource();

    /**
     * In the order in which a user expects them, at most 20: the exact number, whom they write to often and lately, names that
     * begin so, names of which a word begins so, others, groups.
     */
    QStringList rankedCompletions(const QString &typed, const QStringList &recent);
    /** What a literal text stands for. */
    VXPhonebookToken resolve(const QString &text);
};
