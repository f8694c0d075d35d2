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

/** What completions may consist of; bits of a mask. */
enum VXPhonebookProperty : unsigned {
    VXPhonebookPropertyNumber = 1, // "Jane Doe <+1 555 0100/m>"
    VXPhonebookPropertyEmail = 2,  // "Jane Doe <jane@example.org/H>"
    VXPhonebookPropertyGroup = 4,  // "Family { Jane Doe <+1 555 0100/m>, ... }"
    VXPhonebookPropertyAll = 7,
};

/**
 * Answers the rest of the system's questions about contacts: who a phonebook string stands for, their picture, and
 * completions for typed text. The entries are in the store "phonebook" and are found by the loaded phonebook plugins,
 * which are called on the calling thread. Each thread has a manager of its own, with a context and a cache: any save in
 * the process makes the next look-up discard both, and no answer is cached for more than five seconds.
 */
class VX_EXPORT VXPhonebookManager
{
public:
    /** The calling thread's manager; made on first use, destroyed with the thread. */
    static VXPhonebookManager &sharedPhonebookManager();
    /** Starts to observe saves and plugins that are unloaded, for the managers of all threads. To be called once, when
     *  the framework starts. */
    static void startObserving();

    ~VXPhonebookManager();
    VXPhonebookManager(const VXPhonebookManager &) = delete;
    VXPhonebookManager &operator=(const VXPhonebookManager &) = delete;

    /** This thread's context for the store "phonebook"; nullptr, logged, while the store is not open. Nothing is saved
     *  through it. */
    VXManagedObjectContext *managedObjectContext();

    /**
     * The best entry for the string's phone number; null for none, and for e-mail addresses, which are not looked up.
     * It belongs to the manager's context, which a look-up after a save resets: do not keep it beyond the present task.
     */
    VXManagedObjectPtr entryForPhonebookString(const QString &phonebookString);
    /** The same also for an e-mail address: for who shows whom a record is with. */
    VXManagedObjectPtr entryForAddress(const QString &phonebookString);
    /** The bytes of a picture file; null for none, and for groups. */
    QByteArray imageForPhonebookString(const QString &phonebookString);
    /**
     * At most `limit` phonebook strings and groups for a typed text, among the properties in the mask
     * (VXPhonebookProperty), sorted case-insensitively. A mask or a limit of 0 fails an assertion.
     * `indexOfSelectedItem` is never set.
     */
    QStringList completionsForSubstring(const QString &substring, unsigned propertyMask, unsigned limit,
                                        int *indexOfSelectedItem = nullptr);
    /** Removes the cached answer for a trimmed phonebook string. */
    void removeFromCache(const QString &key);

    /** Entries whose "url_string" begins with the prefix: groups, persons, numbers, addresses. On the context's thread. */
    static QList<VXManagedObjectPtr> phonebookEntriesWithPathPrefix(const QString &prefix,
                                                                    VXManagedObjectContext &context);

    /** Observes every save of a context in the process. Any thread. */
    static void contextDidSaveNotification(const VXNotification &notification);
    /**
     * Observes plugins that are unloaded: deletes the entries that the plugin supplied, whose "url_string" begins with
     * its identifier, unless the plugin owns the store. Main thread.
     */
    static void pluginWillUnload(const VXNotification &notification);

private:
    using Clock = std::chrono::steady_clock;

    /** A cached answer, which may be none. */
    struct Answer
    {
        VXManagedObjectPtr entry;
        Clock::time_point end; // when it expires
    };

    // For texts as short as phonebook strings, Qt's own hash and comparison take most of the time of a cached answer.
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

    static std::atomic<quint32> _globalContextVersion;

    quint32 _contextVersion;
    std::unique_ptr<VXManagedObjectContext> _managedObjectContext; // outlives the cached objects
    std::unordered_map<QString, Answer, KeyHash, SameKey> _lookupCache;
    std::deque<std::pair<Clock::time_point, QString>> _ends; // when cached answers expire, the first one in front
};
