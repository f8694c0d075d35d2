#pragma once

#include "VXFrameworkExport.h"
#include "VXManagedObject.h"
#include "VXNotificationCenter.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <atomic>
#include <chrono>
#include <cstring>
#include <deque>
#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <utility>

class VXManagedObjectContext;

/** What completions may be: bits of a mask. */
enum VXPhonebookProperty : unsigned {
    VXPhonebookPropertyNumber = 1, // "Jane Doe <+1 555 0100/m>"
    VXPhonebookPropertyEmail = 2,  // "Jane Doe <jane@example.org/H>"
    VXPhonebookPropertyGroup = 4,  // "Family { Jane Doe <+1 555 0100/m>, ... }"
    VXPhonebookPropertyAll = 7,
};

/**
 * Answers what the rest of the system asks about contacts: who stands behind a phonebook string, with which picture, and what a
 * text that is being typed may become. The entries lie in the store "phonebook" and are found by the loaded phonebook plugins,
 * asked on the calling thread. Each thread has a manager of its own, with a context and a cache: any save in the process
 * makes the next look-up forget both, and no answer is kept for more than five seconds.
 */
class VX_EXPORT VXPhonebookManager
{
public:
    /** The calling thread's; made on first use, gone with the thread. */
    static VXPhonebookManager &sharedPhonebookManager();
    /** Has it hear what is saved, and which plugins go, whoever looks something up. Once, when the framework starts. */
    static void startObserving();

    ~VXPhonebookManager();
    VXPhonebookManager(const VXPhonebookManager &) = delete;
    VXPhonebookManager &operator=(const VXPhonebookManager &) = delete;

    /** This thread's, over the store "phonebook"; nullptr, logged, while that is not open. Nothing is saved through it. */
    VXManagedObjectContext *managedObjectContext();

    /**
     * The best entry for the string's phone number; null for none, and for e-mail addresses, which are not looked up. It
     * belongs to the manager's context, which a look-up after a save resets: keep it no longer than the present task.
     */
    VXManagedObjectPtr entryForPhonebookString(const QString &phonebookString);
    /** The same also for an e-mail address: for who shows whom a record is with. */
    VXManagedObjectPtr entryForAddress(const QString &phonebookString);
    /** The bytes of a picture file; null for none, and for groups. */
    QByteArray imageForPhonebookString(const QString &phonebookString);
    /**
     * At most `limit` phonebook strings and groups for a typed text, of the properties in the mask (VXPhonebookProperty), sorted
     * case-insensitively. A mask or a limit of 0 fails an assertion. `indexOfSelectedItem` is never filled in.
     */
    QStringList completionsForSubstring(const QString &substring, unsigned propertyMask, unsigned limit,
                                        int *indexOfSelectedItem = nullptr);
    /** Forgets the answer for a trimmed phonebook string. */
    void removeFromCache(const QString &key);

    /** Entries whose "url_string" begins with the prefix: groups, persons, numbers, addresses. On the context's thread. */
    static QList<VXManagedObjectPtr> phonebookEntriesWithPathPrefix(const QString &prefix,
                                                                    VXManagedObjectContext &context);

    /** Observes every save of a context in the process. Any thread. */
    static void contextDidSaveNotification(const VXNotification &notification);
    /**
     * Observes plugins that are unloaded: entries that one supplied, whose "url_string" begins with its identifier, are deleted.
     * Not those of the plugin whose store it is. Main thread.
     */
    static void pluginWillUnload(const VXNotification &notification);

    using Clock = std::chrono::steady_clock;
    /** Takes the place of the clock by which answers grow old; nullptr brings it back. For tests. Any thread. */
    static void setClock(Clock::time_point (*clock)());

private:
    /** An answer, which may be none. */
    struct Answer
    {
        VXManagedObjectPtr entry;
        Clock::time_point end; // it no longer counts
    };

    // Of texts as short as phonebook strings Qt's own hash and comparison take most of the time of an answer that is kept.
    struct KeyHash
    {
        size_t operator()(const QString &key) const
        {
            return std::hash<std::string_view>()(
                {reinterpret_cast<const char *>(key.constData()), size_t(key.size()) * 2});
        }
    };
    struct SameKey
    {
        bool operator()(const QString &a, const QString &b) const
        {
            return a.size() == b.size() && std::memcmp(a.constData(), b.constData(), size_t(a.size()) * 2) == 0;
        }
    };

    VXPhonebookManager();

    void renew(quint32 version);
    enum class Kind { PhoneNumber, EmailAddress };
    /** What is kept under that key; else what is found now. */
    VXManagedObjectPtr answer(const QString &key, const QString &phonebookString, Kind kind);
    VXManagedObjectPtr find(const QString &phonebookString, Kind kind);
    VXManagedObjectPtr bestOf(QList<VXManagedObjectPtr> candidates);
    void keep(const QString &key, const VXManagedObjectPtr &entry);
    static Clock::time_point now();

    static std::atomic<quint32> _globalContextVersion;
    static std::atomic<Clock::time_point (*)()> _clock;

    quint32 _contextVersion;
    std::unique_ptr<VXManagedObjectContext> _managedObjectContext; // outlives what is kept of it
    std::unordered_map<QString, Answer, KeyHash, SameKey> _lookupCache;
    std::deque<std::pair<Clock::time_point, QString>> _ends; // of the answers, the first to end in front
};
